#include "common/system/identity.h"

#include <pwd.h>
#include <unistd.h>
#include <uuid/uuid.h>

std::string GetUserName() {
  const passwd* const user = getpwuid(getuid());
  return user != nullptr ? user->pw_name : std::string();
}

std::string NewUUID() {
  uuid_t bytes;
  uuid_generate_random(bytes);
  char text[37] = {};
  uuid_unparse(bytes, text);
  return text;
}
