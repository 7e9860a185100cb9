// Streams, numbers, character classes and locales.
#include <ctype.h>
#include <locale.h>
#include <stdio.h>
#include <wchar.h>
#include <wctype.h>

#include <locale>
#include <regex>
#include <sstream>
#include <string>

#include "tests/tools/machorun/fixture.h"

int main() {
  EXPECT(isalpha('a') != 0 && isalpha('1') == 0 && isspace('\v') != 0 && isxdigit('f') != 0);
  EXPECT(isalpha(0xe4) == 0);
  EXPECT(toupper('a') == 'A' && tolower('Z') == 'z' && toupper('!') == '!');
  EXPECT(towupper(L'a') == L'A' && iswdigit(L'7') != 0);
  EXPECT(std::isupper('A', std::locale::classic()));

  std::ostringstream stream;
  stream << 42 << ' ' << 1.5 << ' ' << std::hex << 255;
  EXPECT(stream.str() == "42 1.5 ff");
  double number = 0;
  std::istringstream("2.25") >> number;
  EXPECT(number == 2.25);
  EXPECT(std::regex_match("ab12", std::regex(R"([a-z]+\d+)")));

  char text[32];
  EXPECT(snprintf(text, sizeof(text), "%5.1f|%-4d|%s", 3.14, 7, "x") == 12);
  EXPECT(std::string(text) == "  3.1|7   |x");
  wchar_t wide[32];
  EXPECT(swprintf(wide, 32, L"%ls-%d", L"w", 3) == 3);
  EXPECT(std::wstring(wide) == L"w-3");
  EXPECT(std::stoul("123") == 123);

  EXPECT(fputs("to standard output\n", stdout) >= 0);
  EXPECT(fputs("to standard error\n", stderr) >= 0);
  EXPECT(fflush(stdout) == 0);
  return 0;
}
