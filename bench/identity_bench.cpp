// E-mail addresses.
#include <re2/re2.h>

#include <string>
#include <vector>

#include "bench/compare.h"
#include "bench/texts.h"
#include "common/strings/email.h"

static const RE2& Form() {
  static const RE2 form(R"(\w+(?:\.|_)?\w*@\w+(?:\.\w+)+)");
  return form;
}

// Of every kind: two thirds are valid.
static const std::vector<std::string>& Addresses() {
  static const std::vector<std::string> addresses = [] {
    std::vector<std::string> made;
    for (const std::string& word : RandomWords(1000, 8)) {
      made.push_back(word + "." + word + "@mail.example.com");
      made.push_back(word + "@" + word + ".org");
      made.push_back(word + "-" + word + "@mail.example.com");
    }
    return made;
  }();
  return addresses;
}

static const std::string& LongAddress() {
  static const std::string address = std::string(5000, 'a') + "@" + std::string(5000, 'b') + ".com";
  return address;
}

template <typename IsValid>
static int CountValid(IsValid is_valid) {
  int valid = 0;
  for (const std::string& address : Addresses()) valid += is_valid(address) ? 1 : 0;
  return valid;
}

static const Comparison kMany(
    "is_email_valid", "3,000 of 15 to 34 bytes", [] { return CountValid(is_email_valid); }, "RE2",
    [] { return CountValid([](const std::string& text) { return RE2::FullMatch(text, Form()); }); });
static const Comparison kLong(
    "is_email_valid", "10 KB", [] { return is_email_valid(LongAddress()); }, "RE2",
    [] { return RE2::FullMatch(LongAddress(), Form()); });
