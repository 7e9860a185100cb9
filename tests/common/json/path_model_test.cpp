// Compares `JsonObject`'s look-ups with their literal description, over all short paths and random longer ones. Many
// more of these, other ones each time:
//
//   build/release/tests/json_tests --gtest_filter='PathLookup.*' --gtest_shuffle --gtest_repeat=100
#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "common/json/json_object.h"
#include "tests/common/json/path_model.h"
#include "tests/support/sanitized.h"

// No two values in a document have the same text, so that a text tells which value was found.
static const char* const kDocuments[] = {
    R"({"a":{"a":{"a":1,"b":2},"b":[3],"ab":4},"b":{"a":"five","ab":{"ba":{}}},"ab":null,"ba":6.5,"":{"a":7}})",
    R"({"\u0000":1,"a\u0000b":2,"a/b":{"a":3},"/":4,"\u00e9":{"\u00e9":5},"a":{"\u0000":6,"b":{"":7}}})",
    "null",
    R"([{"a":1}])",
    "\"a\"",
    "8",
    "true",
    "{}",
};

// What a look-up comes to: the text that it returns, or what it throws.
template <typename LookUp>
static std::string OutcomeOf(const LookUp& look_up) {
  try {
    return look_up();
  } catch (AERROR error) {
    return "throws " + std::to_string(static_cast<int>(error));
  } catch (const Json::Exception& exception) {
    return std::string("throws ") + exception.what();
  }
}

// A document that is looked into in both ways.
class Compared {
 public:
  explicit Compared(const char* text) : document(text), before(document.ToText()) {
    JsonObject view(value);
    view = document.Copy();
  }

  void LookUp(const std::string& path) {
    const std::string expected = OutcomeOf([&] {
      Json::Value* const found = FindValueLiterally(value, path.c_str());
      if (found == nullptr) throw AERROR_PATH_NOT_FOUND;
      return JsonObject(*found).ToText();
    });
    ASSERT_EQ(OutcomeOf([&] { return document.GetObject(path.c_str()).ToText(); }), expected) << Described(path);

    const std::string found = expected.rfind("throws ", 0) != 0       ? "found"
                              : expected == OutcomeOf(PathIsNotFound) ? "missing"
                                                                      : expected;
    ASSERT_EQ(OutcomeOf([&] { return std::string(document.HasObject(path.c_str()) ? "found" : "missing"); }), found)
        << Described(path);
  }

  void ExpectUnchanged() const { EXPECT_EQ(document.ToText(), before); }

 private:
  static std::string PathIsNotFound() { throw AERROR_PATH_NOT_FOUND; }
  std::string Described(const std::string& path) const { return "document: " + before + ", path: " + path; }

  JsonObject document;
  Json::Value value;
  const std::string before;
};

TEST(PathLookup, FollowsEveryShortPathLikeItsLiteralDescription) {
  constexpr size_t kLongest = 6 + kOneLonger;
  for (const char* text : kDocuments) {
    Compared document(text);
    std::vector<std::string> paths = {""};
    for (size_t i = 0; i < paths.size(); ++i) {
      ASSERT_NO_FATAL_FAILURE(document.LookUp(paths[i]));
      if (paths[i].size() == kLongest) continue;
      for (const char next : {'/', 'a', 'b'}) paths.push_back(paths[i] + next);
    }
    document.ExpectUnchanged();
  }
}

TEST(PathLookup, FollowsRandomPathsLikeItsLiteralDescription) {
  const std::vector<std::string> pieces = {"/",  "//", "/////", "a",    "b",        "ab",   "ba",   "a/a/",
                                           "b/", "/a", "a/b",   "\xC3", "\xC3\xA9", "\xFF", "a\\/", "0"};
  std::mt19937 random(static_cast<unsigned int>(testing::UnitTest::GetInstance()->random_seed()));
  for (const char* text : kDocuments) {
    Compared document(text);
    for (int i = 0; i < 3000 / kStressDivisor; ++i) {
      std::string path;
      for (size_t left = random() % 13; left > 0; --left) path += pieces[random() % pieces.size()];
      ASSERT_NO_FATAL_FAILURE(document.LookUp(path));
    }
    document.ExpectUnchanged();
  }
}
