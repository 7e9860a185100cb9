// Joining and cutting.
#include <absl/strings/str_join.h>
#include <absl/strings/str_split.h>

#include <functional>
#include <string>
#include <vector>

#include "bench/compare.h"
#include "bench/texts.h"
#include "common/strings/join.h"
#include "common/strings/tokenize.h"

using Texts = std::vector<std::string>;

static const Texts& Words() {
  static const Texts words = RandomWords(100, 8);
  return words;
}

static const Texts& LongWords() {
  static const Texts words = RandomWords(100, 40);
  return words;
}

static const Texts& ThreeWords() {
  static const Texts words = RandomWords(3, 8);
  return words;
}

template <const Texts& (*Items)()>
static const std::string& WithCommas() {
  static const std::string text = absl::StrJoin(Items(), ",");
  return text;
}

template <const Texts& (*Items)()>
static const std::string& WithColons() {
  static const std::string text = absl::StrJoin(Items(), "::");
  return text;
}

static std::string AsItIs(std::string& token) { return token; }

static const Comparison kJoin(
    "join", "100 of 8 bytes", [] { return join(Words(), ", "); }, "absl::StrJoin",
    [] { return absl::StrJoin(Words(), ", "); });
static const Comparison kJoinLong(
    "join", "100 of 40 bytes", [] { return join(LongWords(), ", "); }, "absl::StrJoin",
    [] { return absl::StrJoin(LongWords(), ", "); });
static const Comparison kJoinThree(
    "join", "3 of 8 bytes", [] { return join(ThreeWords(), ", "); }, "absl::StrJoin",
    [] { return absl::StrJoin(ThreeWords(), ", "); });

template <const std::string& (*Text)()>
static Texts AbslSplit() {
  return absl::StrSplit(Text(), ',');
}

static const Comparison kTokenize(
    "tokenize", "',', 100 of 8 bytes", [] { return tokenize(WithCommas<Words>(), ',', AsItIs); }, "absl::StrSplit",
    AbslSplit<WithCommas<Words>>);
// As the peer splits where each token goes through a transform, which costs a copy more.
static Texts AbslSplitAndTransform(const std::string& text, const std::function<std::string(std::string&)>& transform) {
  Texts tokens;
  for (const absl::string_view piece : absl::StrSplit(text, ',')) {
    std::string token(piece);
    tokens.push_back(transform(token));
  }
  return tokens;
}

static const Comparison kTokenizeTransformed(
    "tokenize", "',', 100 of 8 bytes", [] { return tokenize(WithCommas<Words>(), ',', AsItIs); },
    "absl::StrSplit + transform", [] { return AbslSplitAndTransform(WithCommas<Words>(), AsItIs); });
static const Comparison kTokenizeLong(
    "tokenize", "',', 100 of 40 bytes", [] { return tokenize(WithCommas<LongWords>(), ',', AsItIs); }, "absl::StrSplit",
    AbslSplit<WithCommas<LongWords>>);
static const Comparison kTokenizeThree(
    "tokenize", "',', 3 of 8 bytes", [] { return tokenize(WithCommas<ThreeWords>(), ',', AsItIs); }, "absl::StrSplit",
    AbslSplit<WithCommas<ThreeWords>>);

template <const std::string& (*Text)()>
static Texts AbslSplitAtColons() {
  return absl::StrSplit(Text(), "::");
}

static const Comparison kTokenizeText(
    "tokenize", "\"::\", 100 of 8 bytes", [] { return tokenize(WithColons<Words>(), "::", AsItIs); }, "absl::StrSplit",
    AbslSplitAtColons<WithColons<Words>>);

template <const std::string& (*Text)()>
static Texts AbslSplitAtAny() {
  return absl::StrSplit(Text(), absl::ByAnyChar(", ;"), absl::SkipEmpty());
}

static const Comparison kSplitDelim(
    "split_delim", "\", ;\", 100 of 8 bytes", [] { return split_delim(WithCommas<Words>(), ", ;", AsItIs); },
    "absl::StrSplit", AbslSplitAtAny<WithCommas<Words>>);
static const Comparison kSplitDelimLong(
    "split_delim", "\", ;\", 100 of 40 bytes", [] { return split_delim(WithCommas<LongWords>(), ", ;", AsItIs); },
    "absl::StrSplit", AbslSplitAtAny<WithCommas<LongWords>>);
