// Makes up JSON texts that look like launch lists, with the oddities that a reader may stumble over.
//
// A seed has the same text everywhere: a statement takes one random number, or says which comes first. In which order
// the parts of a sum and the arguments of a call are asked for is the compiler's choice.
#pragma once

#include <algorithm>
#include <iterator>
#include <random>
#include <string>

// One of the texts.
template <size_t count>
const char* OneOf(const char* const (&texts)[count], std::mt19937& random) {
  return texts[random() % count];
}

[[maybe_unused]] static std::string MadeUpBlank(std::mt19937& random) {
  static const char* const kBlanks[] = {"",   "",     "",     "",         "",       " ",      "\n",
                                        "\t", "\r\n", "/**/", "/* c */ ", "// c\n", " // c\r"};
  return OneOf(kBlanks, random);
}

[[maybe_unused]] static std::string MadeUpText(std::mt19937& random) {
  static const char* const kTexts[] = {"\"\"",
                                       "\"a\"",
                                       "\"name\"",
                                       "\"program\"",
                                       "\"args\"",
                                       "\"argc\"",
                                       "\"run_once\"",
                                       "\"0\"",
                                       "\"1\"",
                                       "\"2\"",
                                       "\"01\"",
                                       "\"-1\"",
                                       "\"/bin/sh\"",
                                       "\"\xC3\xA4\"",
                                       "\"\\n\"",
                                       "\"\\u00e4\"",
                                       "\"\\ud83d\\ude00\"",
                                       "\"\\ud83d\\u0041\"",
                                       "\"\xFF\"",
                                       "\"a\nb\"",
                                       "\"\\\\\"",
                                       "\"\\\"x\"",
                                       "\"\\/\\b\\f\\r\\t\"",
                                       "\"//\"",
                                       "\"/*\"",
                                       "\"\\udc00\""};
  return OneOf(kTexts, random);
}

[[maybe_unused]] static std::string MadeUpScalar(std::mt19937& random) {
  static const char* const kScalars[] = {"null",
                                         "true",
                                         "false",
                                         "0",
                                         "1",
                                         "2",
                                         "-1",
                                         "01",
                                         "-",
                                         "1.",
                                         "1.5",
                                         "2.0",
                                         "1e3",
                                         "1e30",
                                         "-1e30",
                                         "0.1",
                                         "16383",
                                         "16384",
                                         "1e308",
                                         "4294967298",
                                         "9223372036854775807",
                                         "9223372036854775808",
                                         "18446744073709551615",
                                         "18446744073709551616",
                                         "-9223372036854775809"};
  return random() % 2 == 0 ? MadeUpText(random) : std::string(OneOf(kScalars, random));
}

[[maybe_unused]] static std::string MadeUpValue(std::mt19937& random, int levels) {
  const size_t kind = levels > 0 ? random() % 5 : 4;
  if (kind > 2) {
    std::string text = MadeUpBlank(random);
    text += MadeUpScalar(random);
    return text += MadeUpBlank(random);
  }
  const bool is_object = kind > 0;
  std::string text = is_object ? "{" : "[";
  const size_t count = random() % 4;
  for (size_t i = 0; i < count; ++i) {
    if (i > 0) text += ",";
    if (is_object) {
      text += MadeUpBlank(random);
      text += MadeUpText(random) + ":";
    }
    text += MadeUpValue(random, levels - 1);
  }
  return text + (is_object ? "}" : "]");
}

// Most are JSON to the launcher.
[[maybe_unused]] static std::string MadeUpJson(std::mt19937& random) {
  std::string text = MadeUpValue(random, 4);
  if (random() % 8 == 0) text += " and so on";
  return text;
}

// The text with a few bytes changed, put in, left out or repeated; without a NUL.
[[maybe_unused]] static std::string Damaged(std::string text, std::mt19937& random) {
  static constexpr char kBytes[] = "{}[]:,\"\\/*-+.eE01 \n\rtfnu\xFF\xC3x";
  for (size_t times = 1 + random() % 3; times > 0; --times) {
    const size_t at = random() % (text.size() + 1);
    const char byte = kBytes[random() % (sizeof(kBytes) - 1)];
    switch (random() % 4) {
      case 0:
        text.insert(at, 1, byte);
        break;
      case 1:
        if (at < text.size()) text.erase(at, 1 + random() % 3);
        break;
      case 2:
        if (at < text.size()) text[at] = byte;
        break;
      default: {
        const size_t from = random() % (text.size() + 1);
        text.insert(at, text.substr(from, random() % 6));
      }
    }
  }
  return text;
}
