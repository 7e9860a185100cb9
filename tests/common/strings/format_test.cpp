#include "common/strings/format.h"

#include <gtest/gtest.h>
#include <locale.h>

#include <climits>

TEST(StringFormat, FormatsAsPrintfDoes) {
  EXPECT_EQ(string_format(""), "");
  EXPECT_EQ(string_format("plain text"), "plain text");
  EXPECT_EQ(string_format("100%%"), "100%");
  EXPECT_EQ(string_format("%%d %%s"), "%d %s");
  EXPECT_EQ(string_format("%s", ""), "");
  EXPECT_EQ(string_format("%s: %d of %d", "run", 3, 8), "run: 3 of 8");
  EXPECT_EQ(string_format("%05d|%-4s|%+.2f|%x", -42, "ab", 1.5, 0xBEEFU), "-0042|ab  |+1.50|beef");
  EXPECT_EQ(string_format("%*d|%.*s", 4, 7, 2, "abc"), "   7|ab");
  EXPECT_EQ(string_format("%ld %llu", LONG_MIN, ULLONG_MAX), "-9223372036854775808 18446744073709551615");
  EXPECT_EQ(string_format("%ls", L"wide"), "wide");
  EXPECT_EQ(string_format("\xC3\xA9 %s", "\xE2\x82\xAC"), "\xC3\xA9 \xE2\x82\xAC");
}

TEST(StringFormat, PassesManyArgumentsOfBothKinds) {
  EXPECT_EQ(string_format("%d %d %d %d %d %d %d %d %d %d %.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f %s", 1, 2, 3,
                          4, 5, 6, 7, 8, 9, 10, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, 10.0, "end"),
            "1 2 3 4 5 6 7 8 9 10 1 2 3 4 5 6 7 8 9 10 end");
}

TEST(StringFormat, EndsBeforeTheFirstNul) {
  EXPECT_EQ(string_format("a%cb", 0), "a");
  EXPECT_EQ(string_format("%c", 0), "");
  EXPECT_EQ(string_format("%s%c%s", "one", 0, "two"), "one");
  EXPECT_EQ(string_format(std::string("a\0%d", 4), 1), "a");
}

TEST(StringFormat, EndsBeforeTheFirstNulOfALongTextToo) {
  const std::string text(10000, 'x');
  EXPECT_EQ(string_format("%s%c%s", text.c_str(), 0, "two"), text);
  EXPECT_EQ(string_format("a%c%s", 0, text.c_str()), "a");
}

TEST(StringFormat, HasNoLimitOfLength) {
  for (const size_t length : {4092U, 4093U, 4094U, 4095U, 4096U, 4097U, 65535U, 65536U, 65537U, 5000000U}) {
    const std::string text(length, 'x');
    ASSERT_EQ(string_format("<%s>", text.c_str()), "<" + text + ">") << "length: " << length;
    ASSERT_EQ(string_format(text + "%d", 7), text + "7") << "length: " << length;
  }
}

TEST(StringFormat, IsEmptyWhenTheTextCannotBeFormatted) {
  EXPECT_EQ(string_format("a%ls", L"\x20AC"), "") << "a character that the locale does not know";
  EXPECT_EQ(string_format("a%2147483648d", 1), "") << "a width beyond int";
}

TEST(WstringFormat, FormatsAsWprintfDoes) {
  EXPECT_EQ(wstring_format(L""), L"");
  EXPECT_EQ(wstring_format(L"plain text"), L"plain text");
  EXPECT_EQ(wstring_format(L"100%%"), L"100%");
  EXPECT_EQ(wstring_format(L"%ls", L""), L"");
  EXPECT_EQ(wstring_format(L"%ls: %d of %d", L"run", 3, 8), L"run: 3 of 8");
  EXPECT_EQ(wstring_format(L"%05d|%-4ls|%+.2f|%x", -42, L"ab", 1.5, 0xBEEFU), L"-0042|ab  |+1.50|beef");
  EXPECT_EQ(wstring_format(L"%s %lc", "narrow", static_cast<wint_t>(L'w')), L"narrow w");
  EXPECT_EQ(wstring_format(L"%*d|%.*ls", 4, 7, 2, L"abc"), L"   7|ab");
  EXPECT_EQ(wstring_format(L"\x20AC \x1F600 %ls", L"\x20AC \xE9"), L"\x20AC \x1F600 \x20AC \xE9");
}

TEST(WstringFormat, PassesManyArgumentsOfBothKinds) {
  EXPECT_EQ(wstring_format(L"%d %d %d %d %d %d %d %d %.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f %.0f %ls", 1, 2, 3, 4, 5,
                           6, 7, 8, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0, L"end"),
            L"1 2 3 4 5 6 7 8 1 2 3 4 5 6 7 8 9 end");
}

TEST(WstringFormat, LeavesTheThreadsLocaleAsItWas) {
  const locale_t before = uselocale(nullptr);
  (void)wstring_format(L"\x20AC%d", 1);
  (void)wstring_format(L"a%s", "\x80");
  EXPECT_EQ(uselocale(nullptr), before);
}

TEST(WstringFormat, EndsBeforeTheFirstNul) {
  EXPECT_EQ(wstring_format(L"a%cb", 0), L"a");
  EXPECT_EQ(wstring_format(L"%lc", static_cast<wint_t>(0)), L"");
  EXPECT_EQ(wstring_format(std::wstring(L"a\0%d", 4), 1), L"a");
}

TEST(WstringFormat, HasNoLimitOfLength) {
  for (const size_t length : {1023U, 1024U, 1025U, 65535U, 65536U, 65537U, 5000000U}) {
    const std::wstring text(length, L'x');
    ASSERT_TRUE(wstring_format(L"<%ls>", text.c_str()) == L"<" + text + L">") << "length: " << length;
    ASSERT_TRUE(wstring_format(text + L"%d", 7) == text + L"7") << "length: " << length;
  }
}

TEST(WstringFormat, IsEmptyWhenTheTextCannotBeFormatted) {
  EXPECT_EQ(wstring_format(L"a%s", "\x80"), L"") << "a byte that the locale does not know";
  EXPECT_EQ(wstring_format(L"a%2147483648d", 1), L"") << "a width beyond int";
  const std::string long_and_bad = std::string(100000, 'x') + "\x80";
  EXPECT_EQ(wstring_format(L"%s", long_and_bad.c_str()), L"") << "a byte behind a long text";
}
