// A user database with one user at most, for programs that tests start: PROBE_LOGIN is the login name and PROBE_HOME
// the home folder of the user who runs the program. Without PROBE_LOGIN the database has no entry.

#include <pwd.h>
#include <stdlib.h>
#include <unistd.h>

// Defined in the program, it takes the place of the system's.
extern "C" passwd* getpwuid(uid_t id) {
  char* const login = getenv("PROBE_LOGIN");
  if (login == nullptr || id != getuid()) return nullptr;
  static char nowhere[] = "/nowhere";
  char* const home = getenv("PROBE_HOME");
  static passwd entry;
  entry = passwd();
  entry.pw_uid = id;
  entry.pw_name = login;
  entry.pw_dir = home != nullptr ? home : nowhere;
  return &entry;
}
