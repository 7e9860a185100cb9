// Uses something of every header of the common library, linked with nothing else of ours. Prints what is not as
// expected.

#include <unistd.h>

#include <cstdio>
#include <string>

#include "common/json/aerror.h"
#include "common/json/json_object.h"
#include "common/logging/log.h"
#include "common/settings/log_settings.h"
#include "common/settings/paths.h"
#include "common/settings/profile.h"
#include "common/strings/base64.h"
#include "common/strings/email.h"
#include "common/strings/format.h"
#include "common/strings/join.h"
#include "common/strings/octal.h"
#include "common/strings/path_string.h"
#include "common/strings/replace.h"
#include "common/strings/split.h"
#include "common/strings/suffix.h"
#include "common/strings/tokenize.h"
#include "common/strings/trim.h"
#include "common/strings/url.h"
#include "common/strings/utf8.h"
#include "common/strings/wildcard.h"
#include "common/system/executable.h"
#include "common/system/identity.h"
#include "common/system/process.h"

// Would not compile if our own warnings reached whoever links the library.
static const int g_cast_in_the_old_style = (int)2.5;

class CountingLog : public ILog {
 public:
  void LogV(LOGLEVEL, const char*, va_list) override { ++records; }
  int records = 0;
};

static bool LogReachesTheLogger() {
  CountingLog log;
  logger = &log;
  __LOG__A(logger, LOGLEVEL_ERROR, "[USER      ] %d", 1);
  logger = nullptr;
  return log.records == 1;
}

static bool ThrowsParseError() {
  try {
    JsonObject document("{");
  } catch (AERROR error) {
    return error == AERROR_JSON_PARSE;
  }
  return false;
}

static std::string Replaced(std::string text) {
  replace_all(text, "-", "+");
  return text;
}

static std::string Trimmed(std::string text) { return trim(text); }

static std::string AsItIs(std::string& token) { return token; }

int main() {
  const struct {
    const char* header;
    bool is_as_expected;
  } rows[] = {
      {"json/aerror.h", ThrowsParseError()},
      {"json/json_object.h", int(JsonObject("{\"a\": {\"b\": 3}}").GetObject("a/b")) == 3},
      {"logging/log.h", LogReachesTheLogger()},
      {"settings/log_settings.h", StringToLogLevel("DEBUG") == LOGLEVEL_DEBUG},
      {"settings/paths.h", GetOSXMountPath("A").rfind("/Volumes/A_", 0) == 0},
      {"settings/profile.h", GetPrivateProfileInt("S", "K", 7, "/no/such/file") == 7},
      {"strings/base64.h", std::string(base64(reinterpret_cast<const unsigned char*>("foobar"), 6)) == "Zm9vYmFy"},
      {"strings/email.h", is_email_valid("ab.cd@ef.gh")},
      {"strings/format.h", string_format("%s: %d", "a", 1) == "a: 1"},
      {"strings/join.h", join({"a", "b"}, ", ") == "a, b"},
      {"strings/octal.h", octalToDecimal(777) == 511},
      {"strings/path_string.h", get_file_name("a/b") == "b"},
      {"strings/replace.h", Replaced("x-y") == "x+y"},
      {"strings/split.h", split("a==b", std::regex("=")).size() == 3},
      {"strings/suffix.h", ends_with(std::string("ab"), std::string("b"))},
      {"strings/tokenize.h", tokenize("a,b,", ',', AsItIs).size() == 2},
      {"strings/trim.h", Trimmed(" a\n") == "a"},
      {"strings/url.h", URLEncode("a b", false) == "a%20b"},
      {"strings/utf8.h", s2ws("\xC3\xA9") == L"\u00E9"},
      {"strings/wildcard.h", IsNameInExpressionA("*.txt", "a.txt", false)},
      {"system/executable.h", !GetCurrentPath().empty()},
      {"system/identity.h", NewUUID().size() == 36},
      {"system/process.h", IsRunningPID(getpid())},
      {"the user's own cast", g_cast_in_the_old_style == 2},
  };
  int failures = 0;
  for (const auto& row : rows) {
    if (row.is_as_expected) continue;
    (void)printf("%s is not as expected\n", row.header);
    ++failures;
  }
  return failures == 0 ? 0 : 1;
}
