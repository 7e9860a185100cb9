#include "launcherctl/json_places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <exception>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "common/json/json_object.h"
#include "launcherctl/escape.h"
#include "tests/support/made_up_json.h"
#include "tests/support/sanitized.h"

// --- The reader of the launcher decides

static std::string TextInQuotes(const std::string& text) {
  JsonObject object = JsonObject::GetEmptyObject();
  object = text;
  return object.ToText();
}

// What has been read, as text: arrays shortened, and without what is not kept.
static std::string Rebuilt(const JsonValue& value) {
  switch (value.kind) {
    case JsonValue::Kind::kNull:
      return "null";
    case JsonValue::Kind::kBoolean:
      return value.text;
    case JsonValue::Kind::kNumber:
      return JsonObject(value.text.data(), static_cast<unsigned int>(value.text.size())).ToText();
    case JsonValue::Kind::kText:
      return TextInQuotes(value.text);
    case JsonValue::Kind::kArray:
      return "[...]";
    case JsonValue::Kind::kObject:
      break;
  }
  std::vector<const JsonMember*> members;
  for (const JsonMember& member : value.members) {
    if (member.counts) members.push_back(&member);
  }
  std::sort(members.begin(), members.end(), [](const auto* a, const auto* b) { return a->name < b->name; });
  std::string text;
  for (const JsonMember* member : members) {
    text += (text.empty() ? "" : ",") + TextInQuotes(member->name) + ":" + Rebuilt(member->value);
  }
  return "{" + text + "}";
}

// The same of what the launcher's reader says, whose arrays are shortened in the same way.
static std::string Rebuilt(JsonObject value, int level) {
  if (value.IsArray()) return "[...]";
  const std::string text = value.ToText();
  if (text.empty() || text.front() != '{') return text;
  if (level > 3) return "{}";
  std::string members;
  for (const std::string& key : value.GetKeys()) {
    members += (members.empty() ? "" : ",") + TextInQuotes(key) + ":" + Rebuilt(value[key.c_str()], level + 1);
  }
  return "{" + members + "}";
}

// What the launcher's reader has read, or nothing when it refuses the text.
static std::optional<std::string> ReadByTheLauncher(const std::string& text) {
  try {
    return Rebuilt(JsonObject(text.data(), static_cast<unsigned int>(text.size())).Copy(), 1);
  } catch (AERROR) {
    return std::nullopt;
  } catch (const std::exception&) {
    return std::nullopt;  // Nested too deep.
  }
}

static void ExpectTheSame(const std::string& text) {
  const std::optional<std::string> expected = ReadByTheLauncher(text);
  const JsonDocument document = ReadJson(text);
  ASSERT_EQ(document.parsed, expected.has_value()) << text << "\n" << document.error;
  if (expected) {
    EXPECT_EQ(Rebuilt(document.root), *expected) << text;
  }
}

TEST(ReadJson, TakesAndRefusesWhatTheLauncherDoes) {
  const std::string deep(1000, '[');
  const std::string too_deep(1001, '[');
  const std::string rows[] = {
      "",
      " ",
      "{}",
      "[]",
      "null",
      "true",
      "nul",
      "tru",
      "True",
      "5",
      "\"a\"",
      "'a'",
      "{\"a\":1}",
      "{\"a\":1,}",
      "{\"\":1,}",
      "{\"\":1,\"\":2,}",
      "{\"a\":1,\"\":2,}",
      "{,}",
      "[1,]",
      "[,]",
      "[ ]",
      "[/**/]",
      "[/**/1]",
      "[1/**/]",
      "{/**/}",
      "{//\n}",
      "{/**/\"a\":1}",
      "{\"a\"/**/:1}",
      "{\"a\":/**/1}",
      "{\"a\":1/**/}",
      "{\"a\":1/**/,\"b\":2}",
      // Behind a comment the reader takes anything for the comma.
      "{\"a\":1/**/5\"b\":2}",
      "{\"a\":1/**/\"x\"\"b\":2}",
      "{\"a\":1/**/{\"b\":2}",
      "{\"a\":1/**/]\"b\":2}",
      "{\"a\":1/**/?\"b\":2}",
      "{\"a\":1/**/:\"b\":2}",
      "{\"a\":1/**/5}",
      "{\"a\":1/**/\"x}",
      "{\"a\":1/**/",
      "{\"a\":1 \"b\":2}",
      "{\"a\" 1}",
      "{\"a\":}",
      "{a:1}",
      "{1:1}",
      "{\"a\":1",
      "{\"a\":",
      "{\"a\"",
      "{",
      "[1 2]",
      "[1",
      "{} trailing",
      "{} }",
      "// only\n",
      "// first\r{}",
      "/* open",
      "/*/",
      "/**/ {}",
      "/* * / */ {}",
      "/",
      "/x",
      "#\n{}",
      "01",
      "-",
      "-1",
      "--1",
      "-0",
      "+1",
      "1.",
      ".5",
      "1.5",
      "1e",
      "1e+",
      "1e5",
      "1E-5",
      "1.e5",
      "1e400",
      "-1e400",
      "1e-400",
      "1e-310",
      "18446744073709551615",
      "18446744073709551616",
      "-9223372036854775808",
      "-9223372036854775809",
      "00000000000000000000000000000018446744073709551615",
      "1.2.3",
      "0x10",
      "NaN",
      "Infinity",
      "\"",
      "\"\\\"",
      "\"\\",
      "\"a\nb\"",
      "\"\\x\"",
      "\"\\u\"",
      "\"\\u12\"",
      "\"\\u12g4\"",
      "\"\\u00e4\"",
      "\"\\ud83d\\ude00\"",
      "\"\\ud83d\"",
      "\"\\ud83dabcdef\"",
      "\"\\ud83d\\n12345\"",
      "\"\\ud83d\\u0041\"",
      "\"\\ude00\"",
      "\"\\u0000\"",
      "\"\xff\"",
      "\xEF\xBB\xBF{}",
      "\xA0{}",
      "\v{}",
      deep,
      deep + std::string(1000, ']'),
      too_deep,
      too_deep + std::string(1001, ']'),
      std::string(999, '[') + "1" + std::string(999, ']'),
      std::string(1000, '[') + "1" + std::string(1000, ']'),
  };
  for (const std::string& text : rows) ExpectTheSame(text);
}

TEST(ReadJson, AgreesWithTheLauncherOnGeneratedTexts) {
  std::mt19937 random(20261121);
  for (int i = 0; i < 20000 / kStressDivisor; ++i) {
    const std::string text = MadeUpJson(random);
    ExpectTheSame(text);
    ExpectTheSame(Damaged(text, random));
    if (HasFatalFailure()) return;
  }
}

// --- What it remarks

static std::vector<std::pair<JsonRemark::Kind, size_t>> RemarksOn(const std::string& text) {
  std::vector<std::pair<JsonRemark::Kind, size_t>> remarks;
  const JsonDocument document = ReadJson(text);
  EXPECT_TRUE(document.parsed) << text << document.error;
  for (const JsonRemark& remark : document.remarks) remarks.emplace_back(remark.kind, remark.offset);
  return remarks;
}

TEST(ReadJson, RemarksWhatIsTakenInSilence) {
  using Kind = JsonRemark::Kind;
  const struct {
    std::string text;
    std::vector<std::pair<Kind, size_t>> expected;
  } rows[] = {
      {"{\"a\":1,\"b\":-0.5e-7}//", {}},
      {"{\"a\":1,\"b\":2,\"a\":3}", {{Kind::kMemberTwice, 1}}},
      {"{\"a\":1,\"\\u0061\":2,\"a\":3}", {{Kind::kMemberTwice, 1}, {Kind::kMemberTwice, 7}}},
      {"[[{\"a\":1,\"a\":2}]]", {{Kind::kMemberTwice, 3}}},
      {"{\"a\":1,\"b\":{\"a\":1}}", {}},
      {"[\"\xe9\"]", {{Kind::kNotUtf8, 1}}},
      {"{\"\xe9\":1}", {{Kind::kNotUtf8, 1}}},
      {"[\"\\udc00\"]", {{Kind::kNotUtf8, 1}}},
      {"[ 01]", {{Kind::kNotStandard, 2}}},
      {"[-]", {{Kind::kNotStandard, 1}}},
      {"[1.]", {{Kind::kNotStandard, 1}}},
      {"[1, \"a\nb\"]", {{Kind::kNotStandard, 4}}},
      {"[\"a\tb\tc\"]", {{Kind::kNotStandard, 1}}},
      {"[\"\\ud83d\\u0041\"]", {{Kind::kNotStandard, 1}}},
      {"{\"\":1, }", {{Kind::kNotStandard, 5}}},
      {"{\"a\":1/**/5 \"b\":2}", {{Kind::kNotStandard, 10}}},
  };
  for (const auto& row : rows) EXPECT_EQ(RemarksOn(row.text), row.expected) << row.text;
}

TEST(ReadJson, TellsWhereTheNextTwinIs) {
  const JsonDocument document = ReadJson("{\"a\":1,\"a\":2,\"a\":3}");
  ASSERT_EQ(document.remarks.size(), 2U);
  EXPECT_EQ(document.remarks[0].twin_offset, 7U);
  EXPECT_EQ(document.remarks[1].twin_offset, 13U);
}

// --- Mistakes

TEST(ReadJson, SaysWhereAndWhyATextIsNotJson) {
  const struct {
    std::string text;
    size_t offset;
    std::string part;
  } rows[] = {
      {"{\"a\":1,}", 6, "trailing comma"},
      {"{\"a\":[1 ,]}", 8, "trailing comma"},
      {"{\"a\":1, /* c */ }", 6, "trailing comma"},
      {"{\"a\":{}  ", 7, "a comma or }"},
      {"{\"a\"}", 4, "a colon"},
      {"{\"a\":}", 5, "a value"},
      {"{\"a\":1 \"b\":2}", 7, "a comma or }"},
      {"[1 2]", 3, "a comma or ]"},
      {"{,}", 1, "a member's name"},
      {"{\"a\":\"x}", 5, "not closed"},
      {"{\"a\":'x'}", 5, "double quotes"},
      {"{a:1}", 1, "a member's name"},
      {"{1:1}", 1, "in quotes"},
      {"{\"a\":True}", 5, "small letters"},
      {"{\"a\":\"\\x\"}", 6, "no escape"},
      {"{\"a\":\"b\\u12\"}", 7, "hexadecimal"},
      {"{\"a\":\"\\ud800x\"}", 6, "surrogate"},
      {"{\"a\":1e999}", 5, "too large"},
      {"# comment\n{}", 0, "//"},
      {"{\"a\":1 /* open", 7, "not closed"},
      {"", 0, "an object"},
      {"{\"a\" /**/ :1}", 5, "comment"},
  };
  for (const auto& row : rows) {
    const JsonDocument document = ReadJson(row.text);
    EXPECT_FALSE(document.parsed) << row.text;
    EXPECT_EQ(document.error_offset, row.offset) << row.text << "\n" << document.error;
    EXPECT_NE(document.error.find(row.part), std::string::npos) << row.text << "\n" << document.error;
  }
}

TEST(ReadJson, TellsWhatIsNestedTooDeepFromOtherMistakes) {
  const JsonDocument document = ReadJson("{\"a\":" + std::string(998, '[') + "\n [ [");
  EXPECT_TRUE(document.too_deep);
  EXPECT_EQ(document.error_offset, 5U + 998 + 4);
  EXPECT_FALSE(ReadJson("{").too_deep);
}

TEST(ReadJson, TellsATextThatEndsTooEarlyFromOtherMistakes) {
  for (const char* text : {"{", "{\"a", "{\"a\"", "{\"a\":", "{\"a\":1", "[1,", "{\"a\":1 /* x"}) {
    EXPECT_TRUE(ReadJson(text).at_end) << text;
  }
  for (const char* text : {"{]", "{a", "{\"a\":1,}"}) EXPECT_FALSE(ReadJson(text).at_end) << text;
}

// --- Behind the end

TEST(SkipBlanksAndComments, FindsTheNextTextThatCounts) {
  const std::pair<const char*, size_t> rows[] = {
      {"{}", 2},           {"{}  \n\t\r", 7}, {"{} x", 3},   {"{} // x\n y", 9},
      {"{} /* x */y", 10}, {"{} /* x", 3},    {"{} / x", 3}, {"{} // x", 7},
  };
  for (const auto& [text, expected] : rows) EXPECT_EQ(SkipBlanksAndComments(text, 2), expected) << text;
}

// --- Places

TEST(TextPlaces, CountLinesAndCharactersFromOne) {
  const std::string text = "ab\n\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80x\r\n\n\xFFy";
  const TextPlaces places(text);
  const struct {
    size_t offset;
    size_t line;
    size_t column;
  } rows[] = {{0, 1, 1},  {2, 1, 3},  {3, 2, 1},  {5, 2, 2},  {8, 2, 3},  {12, 2, 4}, {13, 2, 5},
              {14, 2, 6}, {15, 3, 1}, {16, 4, 1}, {17, 4, 2}, {18, 4, 3}, {100, 4, 3}};
  for (const auto& row : rows) {
    EXPECT_EQ(places.At(row.offset).line, row.line) << row.offset;
    EXPECT_EQ(places.At(row.offset).column, row.column) << row.offset;
  }
}

TEST(TextPlaces, AgreeWithCountingOnGeneratedTexts) {
  std::mt19937 random(7);
  static const char* const kPieces[] = {"a", "\n", "\xC3\xA4", "\xE2\x82\xAC", "\xFF", "bbbbbbbb", "\xF0\x9F"};
  for (size_t i = 0; i < 12; ++i) {
    std::string text;
    // Long enough for several checkpoints.
    while (text.size() < 2500) text += kPieces[random() % (i % 2 == 0 ? 7 : 1 + i % 7)];
    const TextPlaces places(text);
    size_t line = 1;
    size_t column = 1;
    size_t character = 0;
    for (size_t offset = 0; offset < text.size(); ++character) {
      if (character % 10 == 0) {
        ASSERT_EQ(places.At(offset).line, line) << offset;
        ASSERT_EQ(places.At(offset).column, column) << offset;
      }
      const bool ends_line = text[offset] == '\n';
      offset += std::max<size_t>(CharacterBytes(std::string_view(text).substr(offset)), 1);
      column = ends_line ? 1 : column + 1;
      if (ends_line) ++line;
    }
  }
}

TEST(TextPlaces, GiveALineWithoutItsEnd) {
  const TextPlaces places("one\ntwo\n\nfour");
  EXPECT_EQ(places.Line(1), "one");
  EXPECT_EQ(places.Line(2), "two");
  EXPECT_EQ(places.Line(3), "");
  EXPECT_EQ(places.Line(4), "four");
  EXPECT_EQ(places.Line(5), "");
  EXPECT_EQ(places.Line(0), "");
}
