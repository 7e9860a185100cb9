#include "common/json/json_object.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/page_end.h"

// The number that an action throws as a bare AERROR, or nothing.
static std::optional<int> ErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (AERROR error) {
    return static_cast<int>(error);
  }
  return std::nullopt;
}

// The message of the range error that an action throws, or empty.
static std::string RangeErrorOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const std::range_error& error) {
    return error.what();
  }
  return "";
}

static JsonObject Parsed(const std::string& text) {
  return JsonObject(text.data(), static_cast<unsigned int>(text.size()));
}

static std::string Nested(int levels) {
  return std::string(static_cast<size_t>(levels), '[') + std::string(static_cast<size_t>(levels), ']');
}

// --- Layout

TEST(JsonObject, HoldsATargetAndAValueBehindItsOneVirtualTable) {
  EXPECT_TRUE(std::has_virtual_destructor<JsonObject>::value);
  EXPECT_EQ(sizeof(JsonObject), sizeof(void*) + sizeof(Json::Value*) + sizeof(Json::Value));
}

TEST(Aerror, IsA32BitNumberWithFixedValues) {
  EXPECT_TRUE((std::is_same<std::underlying_type<AERROR>::type, int32_t>::value));
  EXPECT_EQ(AERROR_PATH_NOT_FOUND, 4);
  EXPECT_EQ(AERROR_JSON_PARSE, 6001);
}

// --- Parsing

TEST(JsonObject, ParsesTheGivenLengthAndNothingBehindIt) {
  const struct {
    const char* bytes;
    unsigned int length;
    const char* expected;
  } rows[] = {{"{}]", 2, "{}"},           {"12345", 3, "123"}, {"[1,2]]]", 5, "[1,2]"}, {"{\"a\":1}x", 7, "{\"a\":1}"},
              {"\"abc\"d", 5, "\"abc\""}, {"nullx", 4, "null"}};
  for (const auto& row : rows) {
    EXPECT_EQ(JsonObject(row.bytes, row.length).ToText(), row.expected) << "bytes: " << row.bytes;
  }
}

TEST(JsonObject, ReadsNoByteBehindTheGivenLength) {
  const std::string documents[] = {
      R"({"0":{"name":"sync","program":"/opt/app/bin/syncd","argc":1,"args":{"0":"--quiet"},"run_once":true}})",
      R"([1,-2,3.5e+10,1E5,true,false,null,"a\"b\\c\/\b\f\n\r\tA\ud83d\ude00\u00e9",[],{},[[]],[{}]])",
      "  {\r\n\t\"a\" : [ 1 , 2 ] , // a comment\r\n /* another * one */ \"b\" : { } }\r\n // the last",
      "/* before */ [ /* in an empty one */ ] /* behind */",
      "{ /* in an empty one */ }",
      "\"text\"",
      "-123.456e-7",
      "true",
      "false",
      "null",
      "NaN",
      "[1,2",
      "\xEF\xBB\xBF{}",
  };
  PageEnd page;
  for (const std::string& document : documents) {
    for (size_t length = 0; length <= document.size(); ++length) {
      const std::string prefix = document.substr(0, length);
      // A read beyond the end ends the process. Whether a prefix parses does not depend on what lies behind it.
      const std::string continued = prefix + '\0';
      const bool fails_at_page_end =
          ErrorOf([&] { JsonObject(page.Place(prefix), static_cast<unsigned int>(length)); }).has_value();
      const bool fails_elsewhere =
          ErrorOf([&] { JsonObject(continued.data(), static_cast<unsigned int>(length)); }).has_value();
      EXPECT_EQ(fails_at_page_end, fails_elsewhere) << "prefix: " << prefix;
    }
  }
}

TEST(JsonObject, ParsesATextThatEndsWithItsPage) {
  PageEnd page;
  for (const char* text : {R"({"a":{"b":1}})", "[1,2,3]", "\"text\"", "12345", "true", "null", "{}", "[]"}) {
    const std::string bytes = text;
    EXPECT_EQ(JsonObject(page.Place(bytes), static_cast<unsigned int>(bytes.size())).ToText(), text);
  }
}

TEST(JsonObject, ThrowsAnErrorNumberForATextThatDoesNotParse) {
  for (const char* text : {"", " ", "{", "[", "[1,", "{\"a\"", "{\"a\":", "{\"a\":1", "{a:1}", "\"abc", "nul", "]",
                           "// x", "{\"a\":1 \"b\":2}", "[1 2]", "'a'", "\xEF\xBB\xBF"}) {
    EXPECT_EQ(ErrorOf([text] { JsonObject{text}; }), 6001) << "text: " << text;
    EXPECT_EQ(ErrorOf([text] { Parsed(text); }), 6001) << "text with a length: " << text;
  }
}

TEST(JsonObject, HoldsNullForANullText) {
  const char* const no_text = nullptr;
  JsonObject null(no_text);
  EXPECT_FALSE(null.IsValid());
  EXPECT_FALSE(null.IsArray());
  EXPECT_EQ(null.GetArraySize(), 0U);
  EXPECT_EQ(static_cast<std::string>(null), "");
  EXPECT_EQ(static_cast<std::wstring>(null), L"");
  EXPECT_EQ(static_cast<int>(null), 0);
  EXPECT_EQ(static_cast<double>(null), 0.0);
  EXPECT_FALSE(static_cast<bool>(null));
  EXPECT_EQ(null.ToText(), "null");
}

TEST(JsonObject, IsNotValidForTheTextNull) {
  EXPECT_FALSE(JsonObject("null").IsValid());
  EXPECT_FALSE(Parsed("null").IsValid());
}

TEST(JsonObject, KeepsCommentsOnlyOfTheTextWithoutALength) {
  const std::string text = "// why\n{\"a\":1}";
  EXPECT_NE(JsonObject(text.c_str()).ToStyledText().find("// why"), std::string::npos);
  EXPECT_EQ(Parsed(text).ToStyledText().find("// why"), std::string::npos);
}

TEST(JsonObject, StopsAtTheNulOfATextWithoutALength) {
  EXPECT_EQ(JsonObject("[1]\0]").ToText(), "[1]");
  EXPECT_EQ(ErrorOf([] { JsonObject("[1\0]"); }), 6001);
}

TEST(JsonObject, ParsesAThousandLevelsAndLeavesMoreToTheLibrarysException) {
  EXPECT_EQ(Parsed(Nested(1000)).ToText(), Nested(1000));
  EXPECT_EQ(JsonObject(Nested(1000).c_str()).ToText(), Nested(1000));
  EXPECT_THROW(Parsed(Nested(1001)), Json::Exception);
  EXPECT_THROW(JsonObject(Nested(1001).c_str()), Json::Exception);
  EXPECT_THROW(Parsed(Nested(100000)), Json::Exception);
}

TEST(GetEmptyObject, OwnsANewEmptyObjectEachTime) {
  JsonObject first = JsonObject::GetEmptyObject();
  first["a"] = std::string("x");
  EXPECT_EQ(first.ToText(), "{\"a\":\"x\"}");
  EXPECT_EQ(JsonObject::GetEmptyObject().ToText(), "{}");
  EXPECT_TRUE(JsonObject::GetEmptyObject().IsValid());
}

// --- Views and copies

TEST(JsonObject, ViewsAValueOfTheLibrary) {
  Json::Value value("before");
  {
    JsonObject view(value);
    EXPECT_EQ(static_cast<std::string>(view), "before");
    view = std::string("after");
  }
  EXPECT_EQ(value.asString(), "after");
}

TEST(JsonObjectCopy, OfADocumentIsIndependent) {
  auto source = std::make_unique<JsonObject>("{\"a\":1}");
  JsonObject copy(*source);
  (*source)["a"] = std::string("changed");
  EXPECT_EQ(copy.ToText(), "{\"a\":1}");
  copy["a"] = std::string("mine");
  EXPECT_EQ(source->ToText(), "{\"a\":\"changed\"}");
  source.reset();
  EXPECT_EQ(copy.ToText(), "{\"a\":\"mine\"}");
}

TEST(JsonObjectCopy, OfAnEmptyObjectOrArrayIsADocumentOfItsOwn) {
  for (const char* text : {"{}", "[]"}) {
    JsonObject source(text);
    JsonObject copy(source);
    copy = std::string("mine");
    EXPECT_EQ(source.ToText(), text);
  }
}

TEST(JsonObjectCopy, OfAViewIsASecondViewOfTheSameValue) {
  JsonObject document("{\"a\":{\"b\":1}}");
  auto view = std::make_unique<JsonObject>(document.GetObject("a"));
  JsonObject copy(*view);
  view.reset();  // The copy targets the document, not the view.
  copy["b"] = std::string("x");
  EXPECT_EQ(document.ToText(), "{\"a\":{\"b\":\"x\"}}");
}

TEST(JsonObjectCopy, OfADocumentThatHoldsNullViewsThatNull) {
  const char* const no_text = nullptr;
  JsonObject from_no_text(no_text);
  JsonObject from_null("null");
  for (JsonObject* const source : {&from_no_text, &from_null}) {
    JsonObject copy(*source);
    EXPECT_FALSE(copy.IsValid());
    copy = std::string("x");
    EXPECT_EQ(source->ToText(), "\"x\"");
  }
}

TEST(JsonObjectCopy, GoesByTheSourceAtTheTimeOfCopying) {
  const char* const no_text = nullptr;
  JsonObject source(no_text);
  source["a"] = std::string("x");  // Now it owns a document that is not null.
  JsonObject copy(source);
  copy["a"] = std::string("y");
  EXPECT_EQ(source.ToText(), "{\"a\":\"x\"}");
}

TEST(JsonObjectAssignment, OfADocumentToADocumentReplacesItByAnIndependentCopy) {
  JsonObject target("[1]");
  {
    JsonObject source("{\"a\":1}");
    EXPECT_EQ(&(target = source), &target);
    source["a"] = std::string("changed");
  }
  EXPECT_EQ(target.ToText(), "{\"a\":1}");
}

TEST(JsonObjectAssignment, OfADocumentToAViewDetachesTheView) {
  JsonObject document("{\"a\":1}");
  JsonObject view = document.GetObject("a");
  const JsonObject source("{\"b\":2}");
  EXPECT_EQ(&(view = source), &view);
  EXPECT_EQ(document.ToText(), "{\"a\":1}");
  EXPECT_EQ(view.ToText(), "{\"b\":2}");
  view["b"] = std::string("mine");
  EXPECT_EQ(document.ToText(), "{\"a\":1}");
  EXPECT_EQ(source.ToText(), "{\"b\":2}");
}

TEST(JsonObjectAssignment, OfAnEmptyObjectOrArrayToAViewDetachesItToo) {
  for (const char* text : {"{}", "[]"}) {
    JsonObject document("{\"a\":1}");
    JsonObject view = document.GetObject("a");
    view = JsonObject(text);
    EXPECT_EQ(document.ToText(), "{\"a\":1}");
    EXPECT_EQ(view.ToText(), text);
  }
}

TEST(JsonObjectAssignment, OfADocumentToAViewOfItselfDetachesTheView) {
  JsonObject document("{\"a\":1}");
  JsonObject view = document.Copy();
  view = document;
  view["a"] = std::string("mine");
  EXPECT_EQ(document.ToText(), "{\"a\":1}");
}

TEST(JsonObjectAssignment, OfADocumentToAMemberOnlyAddsTheMember) {
  JsonObject list("{}");
  const JsonObject document("{\"a\":1}");
  list["k"] = document;
  EXPECT_EQ(list.ToText(), "{\"k\":null}");
}

TEST(JsonObjectAssignment, OfADocumentsCopyToAMemberWritesIt) {
  JsonObject list("{}");
  JsonObject document("{\"a\":1}");
  list["k"] = document.Copy();
  document["a"] = std::string("changed");
  EXPECT_EQ(list.ToText(), "{\"k\":{\"a\":1}}");
}

// Whatever swaps and moves by assignment writes through views.
TEST(JsonObjectAssignment, WritesThroughViewsInTheStandardLibrarysHandsToo) {
  JsonObject list(R"({"a":1,"b":2,"c":3})");
  JsonObject a = list["a"];
  JsonObject b = list["b"];
  std::swap(a, b);
  EXPECT_EQ(list.ToText(), R"({"a":2,"b":2,"c":3})");

  std::vector<JsonObject> views = {list["a"], list["b"], list["c"]};
  views.erase(views.begin() + 1);
  EXPECT_EQ(list.ToText(), R"({"a":2,"b":3,"c":3})");

  std::optional<JsonObject> item = list["a"];
  item = list["c"];
  EXPECT_EQ(list.ToText(), R"({"a":3,"b":3,"c":3})");
}

TEST(JsonObjectAssignment, OfADocumentToADocumentThatHoldsNullMakesItAnIndependentCopy) {
  const char* const no_text = nullptr;
  JsonObject target(no_text);
  {
    JsonObject source("{\"a\":1}");
    target = source;
    source["a"] = std::string("changed");
  }
  EXPECT_EQ(target.ToText(), "{\"a\":1}");
  const JsonObject copy(target);  // It owns its value: a copy of it is independent.
  target["a"] = std::string("mine");
  EXPECT_EQ(copy.ToText(), "{\"a\":1}");
}

TEST(JsonObjectAssignment, OfAViewToADocumentCopiesTheValueForKeeps) {
  const char* const no_text = nullptr;
  for (const char* before : {no_text, "null", "[1]", "{\"b\":2}"}) {
    JsonObject target(before);
    {
      JsonObject list("{\"0\":{\"name\":\"sync\"}}");
      EXPECT_EQ(&(target = list["0"]), &target);
      list["0"]["name"] = std::string("changed");
    }
    EXPECT_EQ(target.ToText(), "{\"name\":\"sync\"}") << "before: " << (before == nullptr ? "no text" : before);
  }
}

TEST(JsonObjectAssignment, OfAViewToAViewWritesIntoItsDocument) {
  JsonObject source_document("{\"a\":{\"deep\":[1,2]}}");
  JsonObject target_document("{\"b\":0,\"c\":1}");
  JsonObject target = target_document.GetObject("b");
  EXPECT_EQ(&(target = source_document.GetObject("a")), &target);
  EXPECT_EQ(target_document.ToText(), "{\"b\":{\"deep\":[1,2]},\"c\":1}");
  // A copy of the value, not a share in it.
  target["deep"] = std::string("x");
  EXPECT_EQ(source_document.ToText(), "{\"a\":{\"deep\":[1,2]}}");
  EXPECT_EQ(target_document.ToText(), "{\"b\":{\"deep\":\"x\"},\"c\":1}");
}

TEST(JsonObjectAssignment, OfANullDocumentWritesTheNullIntoTheTarget) {
  const char* const no_text = nullptr;
  const JsonObject null(no_text);
  JsonObject document("{\"a\":1}");
  JsonObject view = document.GetObject("a");
  view = null;
  EXPECT_EQ(document.ToText(), "{\"a\":null}");
  document = null;
  EXPECT_FALSE(document.IsValid());
  JsonObject other(no_text);
  other = null;
  other = std::string("x");  // Still its own target, not the source's.
  EXPECT_FALSE(null.IsValid());
}

TEST(JsonObjectAssignment, OfAPartOfItselfKeepsThePart) {
  JsonObject document("{\"a\":{\"b\":[1,2]}}");
  document = document.GetObject("a/b");
  EXPECT_EQ(document.ToText(), "[1,2]");
}

TEST(JsonObjectAssignment, ToItselfChangesNothing) {
  JsonObject document("{\"a\":{\"b\":1}}");
  JsonObject& same = document;
  document = same;
  EXPECT_EQ(document.ToText(), "{\"a\":{\"b\":1}}");
  JsonObject view = document.GetObject("a");
  JsonObject& same_view = view;
  view = same_view;
  EXPECT_EQ(document.ToText(), "{\"a\":{\"b\":1}}");
}

TEST(JsonObjectTextAssignment, StoresTheTextWithoutParsingIt) {
  JsonObject document("{\"a\":1}");
  EXPECT_EQ(&(document = std::string("{}")), &document);
  EXPECT_EQ(document.ToText(), "\"{}\"");
  EXPECT_EQ(static_cast<std::string>(document), "{}");
}

TEST(JsonObjectTextAssignment, WritesThroughAView) {
  JsonObject document("{\"a\":{\"b\":1}}");
  document.GetObject("a/b") = std::string("x");
  EXPECT_EQ(document.ToText(), "{\"a\":{\"b\":\"x\"}}");
}

TEST(JsonObjectTextAssignment, KeepsBytesBehindANul) {
  JsonObject document("{}");
  document = std::string("a\0b", 3);
  EXPECT_EQ(document.ToText(), "\"a\\u0000b\"");
}

// --- Questions

TEST(JsonObject, TellsKindsAndSizes) {
  const struct {
    const char* text;
    bool is_valid;
    bool is_array;
    unsigned int size;
  } rows[] = {
      {"null", false, false, 0},
      {"[]", true, true, 0},
      {"[1,[2,3],null]", true, true, 3},
      {"{}", true, false, 0},
      {"{\"a\":1,\"b\":null}", true, false, 2},
      {"0", true, false, 0},
      {"1.5", true, false, 0},
      {"\"text\"", true, false, 0},
      {"\"\"", true, false, 0},
      {"false", true, false, 0},
  };
  for (const auto& row : rows) {
    const JsonObject object(row.text);
    EXPECT_EQ(object.IsValid(), row.is_valid) << "text: " << row.text;
    EXPECT_EQ(object.IsArray(), row.is_array) << "text: " << row.text;
    EXPECT_EQ(object.GetArraySize(), row.size) << "text: " << row.text;
  }
  EXPECT_TRUE((std::is_same<decltype(JsonObject("1").GetArraySize()), uint32_t>::value));
}

TEST(HasObject, FollowsThePathMemberByMember) {
  const struct {
    const char* path;
    bool expected;
  } rows[] = {
      {"a", true},         {"/a", true},   {"a/b", true},    {"/a/b", true},    {"/a//b/", true},
      {"//a///b//", true}, {"a/c", false}, {"b", false},     {"A", false},      {"a/B", false},
      {"a ", false},       {"x/y", false}, {"null", true},   {"null/x", false}, {"null/x/y", false},
      {"null//", true},    {"0", true},    {"0/name", true}, {"a/b c", false},  {"with.dot", true},
      {"withxdot", false}, {"", true},     {"/", true},      {"///", true},
  };
  JsonObject document(R"({"a":{"b":1},"null":null,"0":{"name":"n"},"with.dot":1})");
  const std::string before = document.ToText();
  for (const auto& row : rows) EXPECT_EQ(document.HasObject(row.path), row.expected) << "path: " << row.path;
  EXPECT_EQ(document.ToText(), before);
}

TEST(HasObject, CannotReachANameWithASlash) {
  EXPECT_FALSE(JsonObject("{\"a/b\":1}").HasObject("a/b"));
  EXPECT_FALSE(JsonObject("{\"a/b\":1}").HasObject("a\\/b"));
  EXPECT_FALSE(JsonObject("{\"\":{\"a\":1}}").HasObject("/b"));
}

TEST(HasObject, FindsTheTargetItselfInAnyDocument) {
  for (const char* text : {"null", "1", "\"text\"", "[1]", "{}", "true"}) {
    for (const char* path : {"", "/", "///"}) {
      EXPECT_TRUE(JsonObject(text).HasObject(path)) << "text: " << text << ", path: " << path;
    }
  }
}

TEST(HasObject, LeavesAStepIntoArraysAndScalarsToTheLibrarysException) {
  for (const char* text : {"[1]", "[]", "1", "1.5", "\"text\"", "true"}) {
    EXPECT_THROW((void)JsonObject(text).HasObject("0"), Json::LogicError) << "text: " << text;
    EXPECT_THROW(JsonObject(text).GetObject("0"), Json::LogicError) << "text: " << text;
  }
  EXPECT_THROW((void)JsonObject("{\"a\":[1]}").HasObject("a/0"), Json::LogicError);
}

TEST(HasObject, TakesAPathOfAnyLength) {
  std::string path;
  for (int i = 0; i < 100000; ++i) path += "/";
  EXPECT_TRUE(JsonObject("{\"a\":1}").HasObject((path + "a").c_str()));
  EXPECT_FALSE(JsonObject("{\"a\":1}").HasObject(std::string(100000, 'a').c_str()));
}

TEST(GetObject, ViewsWhatThePathNames) {
  JsonObject document(R"({"a":{"b":1},"null":null})");
  EXPECT_EQ(document.GetObject("a").ToText(), "{\"b\":1}");
  for (const char* path : {"a/b", "/a/b", "/a//b/"}) {
    EXPECT_EQ(static_cast<int>(document.GetObject(path)), 1) << "path: " << path;
  }
  EXPECT_FALSE(document.GetObject("null").IsValid());
  for (const char* path : {"", "/", "//"}) {
    EXPECT_EQ(document.GetObject(path).ToText(), document.ToText()) << "path: " << path;
  }
  document.GetObject("/")["c"] = std::string("x");
  EXPECT_EQ(document.ToText(), R"({"a":{"b":1},"c":"x","null":null})");
}

TEST(GetObject, StartsAtTheTargetOfAView) {
  JsonObject document(R"({"a":{"b":{"c":1}}})");
  EXPECT_EQ(document.GetObject("a").GetObject("/b").GetObject("c").ToText(), "1");
  EXPECT_TRUE(document.GetObject("a").HasObject("b/c"));
  EXPECT_FALSE(document.GetObject("a").HasObject("a/b"));
}

TEST(GetObject, ThrowsAnErrorNumberWhenAMemberIsMissing) {
  JsonObject document(R"({"a":{"b":1},"null":null})");
  const std::string before = document.ToText();
  for (const char* path : {"b", "a/c", "/a/c/d", "A", "null/x"}) {
    EXPECT_EQ(ErrorOf([&] { document.GetObject(path); }), 4) << "path: " << path;
  }
  EXPECT_EQ(ErrorOf([] { JsonObject("null").GetObject("a"); }), 4);
  EXPECT_EQ(document.ToText(), before);
}

// --- operator[]

TEST(JsonObjectMember, IsAViewOfIt) {
  JsonObject document(R"({"a":{"b":1}})");
  document["a"]["b"] = std::string("x");
  EXPECT_EQ(document.ToText(), R"({"a":{"b":"x"}})");
}

TEST(JsonObjectMember, IsAddedAsNullWhereItIsMissing) {
  JsonObject document(R"({"a":{"b":1}})");
  EXPECT_FALSE(document.HasObject("/a/c"));
  EXPECT_EQ(document.ToText(), R"({"a":{"b":1}})");
  JsonObject added = document.GetObject("a")["c"];
  EXPECT_EQ(document.ToText(), R"({"a":{"b":1,"c":null}})");
  EXPECT_FALSE(added.IsValid());
  EXPECT_EQ(static_cast<std::string>(added), "");
  EXPECT_EQ(static_cast<long long>(added), 0);
  EXPECT_FALSE(static_cast<bool>(added));
}

TEST(JsonObjectMember, TakesTheWholeKeySlashesIncluded) {
  JsonObject document("{\"a/b\":1}");
  EXPECT_EQ(static_cast<int>(document["a/b"]), 1);
}

TEST(JsonObjectMember, TurnsANullTargetIntoAnObject) {
  JsonObject document("null");
  (void)document["a"]["b"];
  EXPECT_EQ(document.ToText(), R"({"a":{"b":null}})");
}

TEST(JsonObjectElement, IsAViewOfIt) {
  JsonObject document("[1,[2,3]]");
  EXPECT_EQ(static_cast<int>(document[0]), 1);
  document[1][0] = std::string("x");
  EXPECT_EQ(document.ToText(), "[1,[\"x\",3]]");
}

TEST(JsonObjectElement, GrowsTheArrayUpToTheIndex) {
  JsonObject document("[1]");
  EXPECT_FALSE(document[1].IsValid());
  EXPECT_EQ(document.ToText(), "[1,null]");
  (void)document[4];
  EXPECT_EQ(document.ToText(), "[1,null,null,null,null]");
  EXPECT_EQ(document.GetArraySize(), 5U);
}

TEST(JsonObjectElement, TurnsANullTargetIntoAnArray) {
  JsonObject document("{\"a\":null}");
  (void)document["a"][1];
  EXPECT_EQ(document.ToText(), "{\"a\":[null,null]}");
}

TEST(JsonObjectElement, LeavesWrongKindsAndNegativeIndexesToTheLibrarysException) {
  for (const char* text : {"{}", "1", "1.5", "\"text\"", "true"}) {
    EXPECT_THROW((void)JsonObject(text)[0], Json::LogicError) << "text: " << text;
  }
  for (const char* text : {"[]", "1", "1.5", "\"text\"", "true"}) {
    EXPECT_THROW((void)JsonObject(text)["a"], Json::LogicError) << "text: " << text;
  }
  for (const char* text : {"[1]", "null", "{}"}) {
    EXPECT_THROW((void)JsonObject(text)[-1], Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)JsonObject(text)[INT_MIN], Json::LogicError) << "text: " << text;
  }
}

// Whether `object[key]` compiles.
template <typename Object, typename Key, typename = void>
struct IsIndexedBy : std::false_type {};
template <typename Object, typename Key>
struct IsIndexedBy<Object, Key, std::void_t<decltype(std::declval<Object>()[std::declval<Key>()])>> : std::true_type {};

TEST(JsonObjectMember, IsNotReachedThroughTheConversionToAnIndex) {
  using Narrow = const char(&)[6];
  using Wide = const wchar_t(&)[6];
  EXPECT_TRUE((IsIndexedBy<JsonObject&, Narrow>::value));
  EXPECT_TRUE((IsIndexedBy<JsonObject&, int>::value));
  EXPECT_TRUE((IsIndexedBy<JsonObject, Narrow>::value));
  EXPECT_FALSE((IsIndexedBy<const JsonObject&, Narrow>::value));
  EXPECT_FALSE((IsIndexedBy<const JsonObject&, char*>::value));
  EXPECT_FALSE((IsIndexedBy<const JsonObject&, int>::value));
  EXPECT_FALSE((IsIndexedBy<JsonObject&, Wide>::value));
  EXPECT_FALSE((IsIndexedBy<const JsonObject&, Wide>::value));
}

// --- Conversions

TEST(JsonObjectConversion, FollowsTheLibrarysRules) {
  const struct {
    const char* text;
    const char* as_text;
    long long as_integer;
    double as_double;
    bool as_bool;
  } rows[] = {
      {"null", "", 0, 0.0, false},  {"true", "true", 1, 1.0, true},   {"false", "false", 0, 0.0, false},
      {"0", "0", 0, 0.0, false},    {"42", "42", 42, 42.0, true},     {"-7", "-7", -7, -7.0, true},
      {"2.5", "2.5", 2, 2.5, true}, {"-2.5", "-2.5", -2, -2.5, true}, {"0.0", "0.0", 0, 0.0, false},
  };
  for (const auto& row : rows) {
    const JsonObject object(row.text);
    EXPECT_EQ(static_cast<std::string>(object), row.as_text) << "text: " << row.text;
    EXPECT_EQ(static_cast<long long>(object), row.as_integer) << "text: " << row.text;
    EXPECT_EQ(static_cast<long>(object), row.as_integer) << "text: " << row.text;
    EXPECT_EQ(static_cast<int>(object), row.as_integer) << "text: " << row.text;
    EXPECT_EQ(static_cast<int>(static_cast<AERROR>(object)), row.as_integer) << "text: " << row.text;
    EXPECT_EQ(static_cast<double>(object), row.as_double) << "text: " << row.text;
    EXPECT_EQ(static_cast<bool>(object), row.as_bool) << "text: " << row.text;
  }
}

TEST(JsonObjectConversion, IsImplicit) {
  JsonObject document(R"({"s":"text","n":3,"d":1.5,"b":true})");
  const std::string text = document["s"];
  const std::wstring wide = document["s"];
  const unsigned long long unsigned_number = document["n"];
  const long long number = document["n"];
  const long long_number = document["n"];
  const int small_number = document["n"];
  const AERROR error = document["n"];
  const double fraction = document["d"];
  const bool truth = document["b"];
  EXPECT_EQ(text, "text");
  EXPECT_EQ(wide, L"text");
  EXPECT_EQ(unsigned_number, 3U);
  EXPECT_EQ(number, 3);
  EXPECT_EQ(long_number, 3);
  EXPECT_EQ(small_number, 3);
  EXPECT_EQ(error, static_cast<AERROR>(3));
  EXPECT_EQ(fraction, 1.5);
  EXPECT_TRUE(truth);
}

TEST(JsonObjectConversion, LeavesToTheCallerWhatTheCompilerCannotChoose) {
  EXPECT_FALSE((std::is_assignable<JsonObject, int>::value));
  EXPECT_FALSE((std::is_assignable<JsonObject, const char*>::value));
  EXPECT_FALSE((std::is_assignable<std::string&, JsonObject>::value));
  EXPECT_TRUE((std::is_assignable<JsonObject, std::string>::value));
  EXPECT_TRUE((std::is_convertible<JsonObject, std::string>::value));
  EXPECT_FALSE((std::is_convertible<JsonObject, unsigned long>::value));
  EXPECT_TRUE((std::is_convertible<JsonObject, unsigned long long>::value));
}

TEST(JsonObjectConversion, KeepsADoubleExact) {
  EXPECT_EQ(static_cast<double>(JsonObject("0.1")), 0.1);
  EXPECT_EQ(static_cast<double>(JsonObject("16777217")), 16777217.0);
}

TEST(JsonObjectConversion, IsTrueForAFraction) {
  EXPECT_TRUE(static_cast<bool>(JsonObject("0.5")));
  EXPECT_TRUE(static_cast<bool>(JsonObject("-0.25")));
  EXPECT_TRUE(static_cast<bool>(JsonObject("18446744073709551615")));
}

TEST(JsonObjectConversion, ReadsTheTargetOfAView) {
  JsonObject document(R"({"a":{"n":5}})");
  const JsonObject view = document.GetObject("a/n");
  EXPECT_EQ(static_cast<int>(view), 5);
  document["a"]["n"] = std::string("changed");
  EXPECT_EQ(static_cast<std::string>(view), "changed");
}

TEST(JsonObjectConversion, CutsTheIntegerToItsLow32Bits) {
  const struct {
    const char* text;
    long long whole;
    int low_bits;
  } rows[] = {
      {"5000000000", 5000000000, 705032704},   {"2147483647", 2147483647, INT_MAX},
      {"2147483648", 2147483648, INT_MIN},     {"4294967295", 4294967295, -1},
      {"4294967296", 4294967296, 0},           {"4294973297", 4294973297, 6001},
      {"-2147483648", -2147483648LL, INT_MIN}, {"-2147483649", -2147483649LL, INT_MAX},
      {"9223372036854775807", LLONG_MAX, -1},  {"-9223372036854775808", LLONG_MIN, 0},
  };
  for (const auto& row : rows) {
    const JsonObject object(row.text);
    EXPECT_EQ(static_cast<long long>(object), row.whole) << "text: " << row.text;
    EXPECT_EQ(static_cast<long>(object), row.whole) << "text: " << row.text;
    EXPECT_EQ(static_cast<int>(object), row.low_bits) << "text: " << row.text;
    EXPECT_EQ(static_cast<int>(static_cast<AERROR>(object)), row.low_bits) << "text: " << row.text;
  }
}

TEST(JsonObjectConversion, CoversTheUnsignedRange) {
  EXPECT_EQ(static_cast<unsigned long long>(JsonObject("18446744073709551615")), ULLONG_MAX);
  EXPECT_EQ(static_cast<unsigned long long>(JsonObject("null")), 0U);
  EXPECT_EQ(static_cast<unsigned long long>(JsonObject("true")), 1U);
  EXPECT_THROW((void)static_cast<unsigned long long>(JsonObject("-1")), Json::LogicError);
  EXPECT_THROW((void)static_cast<long long>(JsonObject("18446744073709551615")), Json::LogicError);
  EXPECT_THROW((void)static_cast<int>(JsonObject("9223372036854775808")), Json::LogicError);
}

TEST(JsonObjectConversion, LeavesWhatTheLibraryCannotConvertToItsException) {
  for (const char* text : {"{}", "[]", "{\"a\":1}", "[1]"}) {
    const JsonObject object(text);
    EXPECT_THROW((void)static_cast<std::string>(object), Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)static_cast<std::wstring>(object), Json::LogicError) << "text: " << text;
  }
  for (const char* text : {"{}", "[]", "\"text\"", "\"1\"", "\"\""}) {
    const JsonObject object(text);
    EXPECT_THROW((void)static_cast<unsigned long long>(object), Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)static_cast<long long>(object), Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)static_cast<long>(object), Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)static_cast<int>(object), Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)static_cast<AERROR>(object), Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)static_cast<double>(object), Json::LogicError) << "text: " << text;
    EXPECT_THROW((void)static_cast<bool>(object), Json::LogicError) << "text: " << text;
  }
  EXPECT_THROW((void)static_cast<int>(JsonObject("1e30")), Json::LogicError);
}

TEST(JsonObjectConversion, CutsTextAtItsFirstNul) {
  const JsonObject object("\"ab\\u0000cd\"");
  EXPECT_EQ(static_cast<std::string>(object), "ab");
  EXPECT_EQ(static_cast<std::wstring>(object), L"ab");
  EXPECT_EQ(static_cast<std::string>(JsonObject("\"\\u0000\"")), "");
}

TEST(JsonObjectConversion, DecodesWideText) {
  const JsonObject object("\"a\\u00e9\\u20ac\\ud83d\\ude00\"");
  EXPECT_EQ(static_cast<std::string>(object), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(static_cast<std::wstring>(object), (std::wstring{L'a', 0xE9, 0x20AC, 0x1F600}));
}

TEST(JsonObjectConversion, ThrowsARangeErrorForWideTextThatIsNoUtf8) {
  for (const char* bytes : {"\"\xFF\"", "\"a\x80\"", "\"\xC3\"", "\"\xED\xA0\x80\"", "\"\xF4\x90\x80\x80\""}) {
    const JsonObject object(bytes);
    EXPECT_EQ(RangeErrorOf([&] { (void)static_cast<std::wstring>(object); }), "wstring_convert: from_bytes error")
        << "bytes: " << bytes;
    EXPECT_EQ(static_cast<std::string>(object), std::string(bytes).substr(1, strlen(bytes) - 2));
  }
}

// --- Editing

TEST(Insert, AddsAMemberOrReplacesIt) {
  JsonObject document("{\"a\":1}");
  EXPECT_TRUE(document.Insert("b", JsonObject("[1]")));
  EXPECT_TRUE(document.Insert("a", JsonObject("{\"c\":null}")));
  EXPECT_EQ(document.ToText(), R"({"a":{"c":null},"b":[1]})");
}

TEST(Insert, CopiesTheValueThatTheOtherObjectTargets) {
  JsonObject source("{\"a\":{\"b\":1}}");
  JsonObject document("{}");
  document.Insert("x", source.GetObject("a"));
  document.Insert("y", source);
  document.Insert("z", JsonObject("null"));
  source["a"] = std::string("changed");
  document["x"]["b"] = std::string("mine");
  EXPECT_EQ(document.ToText(), R"({"x":{"b":"mine"},"y":{"a":{"b":1}},"z":null})");
  EXPECT_EQ(source.ToText(), R"({"a":"changed"})");
}

TEST(Insert, ParsesANarrowText) {
  JsonObject document("{}");
  document.Insert("k", "[1]");
  EXPECT_EQ(document.ToText(), "{\"k\":[1]}");
  EXPECT_EQ(ErrorOf([&] { document.Insert("k", "text"); }), 6001);
}

TEST(Insert, IsSeenThroughAViewOfTheSamePlace) {
  JsonObject document("{\"a\":{\"b\":1}}");
  JsonObject view = document.GetObject("a");
  document.Insert("a", JsonObject("[5]"));
  EXPECT_EQ(view.ToText(), "[5]");
}

TEST(Insert, CopiesAPartOfTheDocumentItselfToo) {
  JsonObject document("{\"a\":{\"b\":1}}");
  document.Insert("c", document.GetObject("a/b"));
  document.Insert("a", document.GetObject("a/b"));
  EXPECT_EQ(document.ToText(), R"({"a":1,"c":1})");
}

TEST(Insert, CopiesTheDocumentAsItWasBefore) {
  JsonObject document("{\"a\":1}");
  document.Insert("self", document);
  EXPECT_EQ(document.ToText(), R"({"a":1,"self":{"a":1}})");
}

TEST(Insert, WritesThroughAView) {
  JsonObject document("{\"a\":{}}");
  document.GetObject("a").Insert("b", JsonObject("1"));
  document.GetObject("a").Insert("c", L"x");
  EXPECT_EQ(document.ToText(), R"({"a":{"b":1,"c":"x"}})");
}

TEST(Insert, TakesTheWholeKeySlashesIncluded) {
  JsonObject document("{}");
  document.Insert("a/b", JsonObject("1"));
  EXPECT_EQ(document.GetKeys(), (std::vector<std::string>{"a/b"}));
}

TEST(Insert, StoresWideTextAsUtf8) {
  JsonObject document("{\"a\":1}");
  EXPECT_TRUE(document.Insert("a", std::wstring{L'a', 0xE9, 0x20AC, 0x1F600}));
  EXPECT_TRUE(document.Insert("b", std::wstring()));
  EXPECT_TRUE(document.Insert("c", L"{}"));
  EXPECT_EQ(static_cast<std::string>(document["a"]), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(document.GetObject("b").ToText(), "\"\"");
  EXPECT_EQ(document.GetObject("c").ToText(), "\"{}\"");
  document.Insert("c", std::wstring{L'a', 0, L'b'});
  EXPECT_EQ(document.GetObject("c").ToText(), "\"a\\u0000b\"");
}

TEST(Insert, ThrowsARangeErrorForWideTextThatUtf8CannotHoldAndChangesNothing) {
  for (const uint32_t value : {0xD800U, 0xDFFFU, 0x110000U, 0xFFFFFFFFU}) {
    const std::wstring text = {L'a', static_cast<wchar_t>(value)};
    for (const char* before : {"{\"a\":1}", "null"}) {
      JsonObject document(before);
      for (const char* key : {"a", "new"}) {
        EXPECT_EQ(RangeErrorOf([&] { document.Insert(key, text); }), "wstring_convert: to_bytes error")
            << std::hex << value;
        EXPECT_EQ(document.ToText(), before);
      }
    }
  }
}

TEST(Insert, TurnsANullTargetIntoAnObject) {
  const char* const no_text = nullptr;
  JsonObject document(no_text);
  document.Insert("a", JsonObject("1"));
  EXPECT_EQ(document.ToText(), "{\"a\":1}");
  JsonObject wide("{\"a\":null}");
  wide["a"].Insert("b", L"x");
  EXPECT_EQ(wide.ToText(), R"({"a":{"b":"x"}})");
}

TEST(Insert, LeavesTargetsOfAnotherKindToTheLibrarysException) {
  for (const char* text : {"[]", "1", "1.5", "\"text\"", "true"}) {
    JsonObject document(text);
    EXPECT_THROW(document.Insert("a", JsonObject("1")), Json::LogicError) << "text: " << text;
    EXPECT_THROW(document.Insert("a", L"x"), Json::LogicError) << "text: " << text;
    EXPECT_EQ(document.ToText(), text);
  }
}

TEST(InsertArrayItem, AppendsTextAndCopies) {
  JsonObject source("{\"a\":{\"b\":1}}");
  JsonObject view = source.GetObject("a");
  JsonObject document("[0]");
  EXPECT_TRUE(document.InsertArrayItem("{}"));
  EXPECT_TRUE(document.InsertArrayItem(std::string("a\0b", 3)));
  EXPECT_TRUE(document.InsertArrayItem(view));
  EXPECT_TRUE(document.InsertArrayItem(source));
  view["b"] = std::string("changed");
  EXPECT_EQ(document.ToText(), R"([0,"{}","a\u0000b",{"b":1},{"a":{"b":1}}])");
}

TEST(InsertArrayItem, TakesATemporaryObjectAsText) {
  JsonObject source(R"({"number":7,"object":{}})");
  JsonObject document("[]");
  document.InsertArrayItem(source["number"]);
  EXPECT_EQ(document.ToText(), "[\"7\"]");
  EXPECT_THROW(document.InsertArrayItem(source["object"]), Json::LogicError);
}

TEST(InsertArrayItem, LeavesViewsOfOtherElementsAlive) {
  JsonObject document("[\"first\"]");
  const JsonObject view = document[0];
  for (int i = 0; i < 1000; ++i) document.InsertArrayItem("x");
  EXPECT_EQ(static_cast<std::string>(view), "first");
}

TEST(InsertArrayItem, AppendsAnElementOfTheArrayItself) {
  JsonObject document("[{\"a\":1}]");
  JsonObject element = document[0];
  document.InsertArrayItem(element);
  EXPECT_EQ(document.ToText(), R"([{"a":1},{"a":1}])");
}

TEST(InsertArrayItem, TurnsANullTargetIntoAnArray) {
  JsonObject document("{\"a\":null,\"b\":null}");
  document["a"].InsertArrayItem("x");
  JsonObject item("1");
  document["b"].InsertArrayItem(item);
  EXPECT_EQ(document.ToText(), R"({"a":["x"],"b":[1]})");
}

TEST(InsertArrayItem, LeavesTargetsOfAnotherKindToTheLibrarysException) {
  JsonObject item("1");
  for (const char* text : {"{}", "1", "1.5", "\"text\"", "true"}) {
    JsonObject document(text);
    EXPECT_THROW(document.InsertArrayItem("x"), Json::LogicError) << "text: " << text;
    EXPECT_THROW(document.InsertArrayItem(item), Json::LogicError) << "text: " << text;
    EXPECT_EQ(document.ToText(), text);
  }
}

TEST(RemoveArrayItem, MovesLaterElementsDown) {
  const struct {
    unsigned long index;
    bool expected;
    const char* after;
  } rows[] = {
      {0, true, "[\"b\",\"c\"]"},
      {1, true, "[\"a\",\"c\"]"},
      {2, true, "[\"a\",\"b\"]"},
      {3, false, "[\"a\",\"b\",\"c\"]"},
      {0xFFFFFFFFUL, false, "[\"a\",\"b\",\"c\"]"},
      {0x100000001UL, true, "[\"a\",\"c\"]"},  // Only the low 32 bits count.
  };
  for (const auto& row : rows) {
    JsonObject document("[\"a\",\"b\",\"c\"]");
    EXPECT_EQ(document.RemoveArrayItem(row.index), row.expected) << "index: " << row.index;
    EXPECT_EQ(document.ToText(), row.after) << "index: " << row.index;
  }
}

TEST(RemoveArrayItem, ShowsTheNextNeighbourThroughViews) {
  JsonObject document("[\"a\",\"b\",\"c\"]");
  const JsonObject first = document[0];
  const JsonObject second = document[1];
  document.RemoveArrayItem(0);
  EXPECT_EQ(static_cast<std::string>(first), "b");
  EXPECT_EQ(static_cast<std::string>(second), "c");
}

TEST(RemoveArrayItem, TakesOnlyWhatWasIndexedOfAGrownArray) {
  JsonObject document("[1]");
  (void)document[3];
  EXPECT_FALSE(document.RemoveArrayItem(2));
  EXPECT_EQ(document.ToText(), "[1,null,null,null]");
  EXPECT_TRUE(document.RemoveArrayItem(3));
  EXPECT_EQ(document.ToText(), "[1]");
}

TEST(RemoveArrayItem, AnswersFalseForWhatIsNoArray) {
  for (const char* text : {"null", "{\"0\":1}", "1", "\"text\"", "[]"}) {
    JsonObject document(text);
    EXPECT_FALSE(document.RemoveArrayItem(0)) << "text: " << text;
    EXPECT_EQ(document.ToText(), text);
  }
}

TEST(RemoveArrayItem, WritesThroughAView) {
  JsonObject document("{\"a\":[1,2]}");
  EXPECT_TRUE(document.GetObject("a").RemoveArrayItem(0));
  EXPECT_EQ(document.ToText(), "{\"a\":[2]}");
}

TEST(Remove, TakesAMemberAwayAndTellsWhetherItWasThere) {
  JsonObject document(R"({"a":1,"b":{"c":null}})");
  EXPECT_FALSE(document.Remove("c"));
  EXPECT_FALSE(document.Remove("b/c"));
  EXPECT_EQ(document.ToText(), R"({"a":1,"b":{"c":null}})");
  EXPECT_TRUE(document.Remove("a"));
  EXPECT_TRUE(document.GetObject("b").Remove("c"));
  EXPECT_EQ(document.ToText(), R"({"b":{}})");
  EXPECT_FALSE(document.Remove("a"));
}

TEST(Remove, AnswersFalseForWhatIsNoObject) {
  for (const char* text : {"null", "[1]", "1", "\"text\""}) {
    JsonObject document(text);
    EXPECT_FALSE(document.Remove("a")) << "text: " << text;
    EXPECT_EQ(document.ToText(), text);
  }
}

TEST(GetKeys, ListsNamesAscendingByBytes) {
  JsonObject document("{}");
  for (const char* key : {"b", "\xC3\xA9", "B", "aa", "a", "", "10", "9", "a b", "z"}) {
    document.Insert(key, JsonObject("1"));
  }
  EXPECT_EQ(document.GetKeys(), (std::vector<std::string>{"", "10", "9", "B", "a", "a b", "aa", "b", "z", "\xC3\xA9"}));
}

TEST(GetKeys, IsEmptyForNullAndLeavesOtherKindsToTheLibrarysException) {
  EXPECT_TRUE(JsonObject("null").GetKeys().empty());
  EXPECT_TRUE(JsonObject("{}").GetKeys().empty());
  for (const char* text : {"[1]", "1", "\"text\""}) {
    EXPECT_THROW((void)JsonObject(text).GetKeys(), Json::LogicError) << "text: " << text;
  }
}

TEST(Copy, IsAViewDespiteItsName) {
  JsonObject document("{\"a\":{\"b\":1}}");
  document.Copy()["c"] = std::string("x");
  document.GetObject("a").Copy()["b"] = std::string("y");
  EXPECT_EQ(document.ToText(), R"({"a":{"b":"y"},"c":"x"})");
}

// --- Text

TEST(ToText, WritesOneLineWithoutALineFeed) {
  for (const char* text : {"{}", "[]", "null", "true", "-1", "\" a \"", R"({"a":[1,{"b":null}],"c":"x\ny"})"}) {
    EXPECT_EQ(JsonObject(text).ToText(), text);
  }
  EXPECT_EQ(JsonObject(" {\n \"b\" : 1 , \"a\" : [ ] }\n").ToText(), R"({"a":[],"b":1})");
}

TEST(ToText, WritesTheTargetOfAView) {
  JsonObject document("{\"a\":{\"b\":1}}");
  EXPECT_EQ(document.GetObject("a").ToText(), "{\"b\":1}");
}

TEST(ToText, EscapesWhatIsNotAscii) {
  EXPECT_EQ(JsonObject("\"\xC3\xA9\xF0\x9F\x98\x80\"").ToText(), "\"\\u00e9\\ud83d\\ude00\"");
}

TEST(ToText, ReadsBackAsTheSameValue) {
  const char* text = R"({"a":[1,-2,2.5,true,null,"é\u0000\"\\"],"b":{"c":[[],{}]}})";
  const JsonObject document(text);
  EXPECT_EQ(JsonObject(document.ToText().c_str()).ToText(), document.ToText());
  EXPECT_EQ(JsonObject(document.ToStyledText().c_str()).ToText(), document.ToText());
}

TEST(ToStyledText, IndentsBySpacesWithoutALineFeedAtTheEnd) {
  EXPECT_EQ(JsonObject("{\"a\":{\"b\":1},\"c\":[]}").ToStyledText(),
            "{\n   \"a\" : {\n      \"b\" : 1\n   },\n   \"c\" : []\n}");
  EXPECT_EQ(JsonObject("{}").ToStyledText(), "{}");
  EXPECT_EQ(JsonObject("null").ToStyledText(), "null");
}

TEST(ToStyledText, StartsWithACommentBeforeTheDocument) {
  EXPECT_EQ(JsonObject("// why\n{\"a\":1}").ToStyledText(), "// why\n{\n   \"a\" : 1\n}");
}
