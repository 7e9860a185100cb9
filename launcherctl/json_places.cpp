#include "launcherctl/json_places.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <locale>
#include <map>
#include <sstream>

#include "common/strings/utf8.h"
#include "launcherctl/escape.h"

// The functions follow the application's reader step by step, because its oddities come from its steps.

static constexpr int kMostLevels = 1000;
static constexpr int kKeptLevels = 3;

namespace {

enum class TokenKind {
  kEnd,
  kObjectBegin,
  kObjectEnd,
  kArrayBegin,
  kArrayEnd,
  kText,
  kNumber,
  kTrue,
  kFalse,
  kNull,
  kComma,
  kColon,
  kComment,
  kError,
};

struct Token {
  TokenKind kind = TokenKind::kEnd;
  size_t begin = 0;
  size_t end = 0;
};

}  // namespace

static bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

static bool IsDigit(char c) { return c >= '0' && c <= '9'; }

static int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Halves of surrogate pairs become three bytes each, which is not UTF-8.
static void AppendCodePoint(uint32_t code_point, std::string& bytes) {
  if (code_point < 0xD800 || code_point > 0xDFFF) {
    bytes += ws2s(std::wstring(1, static_cast<wchar_t>(code_point)));
    return;
  }
  for (const uint32_t byte : {0xEDU, 0x80 | (code_point >> 6 & 0x3F), 0x80 | (code_point & 0x3F)}) {
    bytes.push_back(static_cast<char>(byte));
  }
}

// Whether the spelling is a number in JSON; the reader takes more.
static bool IsStandardNumber(std::string_view spelling) {
  size_t position = 0;
  const auto digits = [&] {
    const size_t first = position;
    while (position < spelling.size() && IsDigit(spelling[position])) ++position;
    return position - first;
  };
  if (position < spelling.size() && spelling[position] == '-') ++position;
  const size_t first_digit = position;
  const size_t whole_digits = digits();
  if (whole_digits == 0 || (whole_digits > 1 && spelling[first_digit] == '0')) return false;
  if (position < spelling.size() && spelling[position] == '.') {
    ++position;
    if (digits() == 0) return false;
  }
  if (position < spelling.size()) {  // Only an exponent can follow.
    ++position;
    if (position < spelling.size() && (spelling[position] == '+' || spelling[position] == '-')) ++position;
    if (digits() == 0) return false;
  }
  return true;
}

// Whether the reader makes a number of the spelling. Whole numbers that fit in 64 bits always are ("-" is 0); the
// others go through the standard library, as there.
static bool IsNumberToTheReader(std::string_view spelling) {
  std::string_view digits = spelling;
  const bool is_negative = digits.front() == '-';
  if (is_negative) digits.remove_prefix(1);
  const uint64_t most = is_negative ? uint64_t{1} << 63 : std::numeric_limits<uint64_t>::max();
  uint64_t value = 0;
  bool is_whole = true;
  for (const char c : digits) {
    const auto digit = static_cast<uint64_t>(c - '0');
    if (!IsDigit(c) || value > most / 10 || (value == most / 10 && digit > most % 10)) {
      is_whole = false;
      break;
    }
    value = value * 10 + digit;
  }
  if (is_whole) return true;
  std::istringstream stream{std::string(spelling)};
  double number = 0;
  return static_cast<bool>(stream >> number);
}

namespace {

class Reader {
 public:
  explicit Reader(std::string_view json) : text(json) {}

  JsonDocument Read() {
    document.parsed = ReadValue(document.root, 1, true, nullptr);
    document.end = position;
    return std::move(document);
  }

 private:
  bool Fail(size_t offset, std::string reason) {
    document.error_offset = offset;
    document.error = std::move(reason);
    return false;
  }

  void Remark(JsonRemark::Kind kind, size_t offset, std::string what, size_t twin_offset = 0) {
    document.remarks.push_back({kind, offset, std::move(what), twin_offset});
  }

  // Behind the last byte that is not blank: where something is missing when the text ends too early.
  size_t EndOfText() const {
    size_t end = text.size();
    while (end > 0 && IsBlank(text[end - 1])) --end;
    return end;
  }

  char Next() { return position < text.size() ? text[position++] : '\0'; }

  bool Match(std::string_view rest) {
    if (text.substr(position, rest.size()) != rest) return false;
    position += rest.size();
    return true;
  }

  bool SkipText() {
    char c = '\0';
    while (position < text.size()) {
      c = Next();
      if (c == '\\') {
        (void)Next();
      } else if (c == '"') {
        break;
      }
    }
    return c == '"';
  }

  void SkipNumber() {
    const auto skip_digits = [this] {
      while (position < text.size() && IsDigit(text[position])) ++position;
    };
    const auto is_at = [this](char a, char b) {
      return position < text.size() && (text[position] == a || text[position] == b);
    };
    skip_digits();
    if (is_at('.', '.')) {
      ++position;
      skip_digits();
    }
    if (is_at('e', 'E')) {
      ++position;
      if (is_at('+', '-')) ++position;
      skip_digits();
    }
  }

  bool SkipComment() {
    const char c = Next();
    if (c == '*') {
      while (position + 1 < text.size()) {
        if (Next() == '*' && text[position] == '/') break;
      }
      return Next() == '/';
    }
    if (c != '/') return false;
    while (position < text.size()) {
      const char end = Next();
      if (end == '\n') break;
      if (end == '\r') {
        if (position < text.size() && text[position] == '\n') ++position;
        break;
      }
    }
    return true;
  }

  Token ReadToken() {
    while (position < text.size() && IsBlank(text[position])) ++position;
    Token token;
    token.begin = position;
    bool well_formed = true;
    const char c = Next();
    switch (c) {
      case '\0':
        token.kind = TokenKind::kEnd;
        break;
      case '{':
        token.kind = TokenKind::kObjectBegin;
        break;
      case '}':
        token.kind = TokenKind::kObjectEnd;
        break;
      case '[':
        token.kind = TokenKind::kArrayBegin;
        break;
      case ']':
        token.kind = TokenKind::kArrayEnd;
        break;
      case ',':
        token.kind = TokenKind::kComma;
        break;
      case ':':
        token.kind = TokenKind::kColon;
        break;
      case '"':
        token.kind = TokenKind::kText;
        well_formed = SkipText();
        break;
      case '/':
        token.kind = TokenKind::kComment;
        well_formed = SkipComment();
        break;
      case 't':
        token.kind = TokenKind::kTrue;
        well_formed = Match("rue");
        break;
      case 'f':
        token.kind = TokenKind::kFalse;
        well_formed = Match("alse");
        break;
      case 'n':
        token.kind = TokenKind::kNull;
        well_formed = Match("ull");
        break;
      default:
        well_formed = c == '-' || IsDigit(c);
        token.kind = TokenKind::kNumber;
        if (well_formed) SkipNumber();
    }
    if (!well_formed) token.kind = TokenKind::kError;
    token.end = position;
    return token;
  }

  Token ReadTokenBehindComments() {
    Token token = ReadToken();
    while (token.kind == TokenKind::kComment) token = ReadToken();
    return token;
  }

  // What is wrong with a token that stands where `wanted` should.
  bool FailAt(const Token& token, const std::string& wanted) {
    document.at_end = token.kind == TokenKind::kEnd;
    if (document.at_end) return Fail(EndOfText(), "The file ends where " + wanted + " is missing.");
    const char first = text[token.begin];
    if (token.kind == TokenKind::kError) {
      document.at_end = first == '"';
      if (first == '"') return Fail(token.begin, "The text that begins here is not closed: a quote is missing.");
      if (first == '/' && text.substr(token.begin, 2) == "/*") {
        document.at_end = true;
        return Fail(token.begin, "The comment that begins here is not closed.");
      }
      if (first == '\'') return Fail(token.begin, "Texts stand in double quotes, not in single ones.");
      if (first == '#') return Fail(token.begin, "A comment begins with // here, not with #.");
    }
    const size_t bytes = std::max<size_t>(CharacterBytes(text.substr(token.begin)), 1);
    return Fail(token.begin,
                "Here stands " + Quoted(text.substr(token.begin, bytes)) + ", where " + wanted + " is missing.");
  }

  bool FailAtTrailingComma(const Token& comma, const char* bracket) {
    return Fail(comma.begin, std::string("This is a trailing comma: nothing follows it before the ") + bracket + ".");
  }

  // `comma` is the one directly before the value, if it is an array's element and not its first.
  bool ReadValue(JsonValue& value, int level, bool is_kept, const Token* comma) {
    if (level > kMostLevels) {
      document.too_deep = true;
      return Fail(SkipBlanksAndComments(text, position), "More than 1000 levels of nesting.");
    }
    const Token token = ReadTokenBehindComments();
    value.begin = token.begin;
    bool successful = true;
    switch (token.kind) {
      case TokenKind::kObjectBegin:
        value.kind = JsonValue::Kind::kObject;
        successful = ReadObject(value, level, is_kept && level <= kKeptLevels);
        break;
      case TokenKind::kArrayBegin:
        value.kind = JsonValue::Kind::kArray;
        successful = ReadArray(level);
        break;
      case TokenKind::kText:
        value.kind = JsonValue::Kind::kText;
        successful = DecodeText(token, value.text);
        break;
      case TokenKind::kNumber:
        value.kind = JsonValue::Kind::kNumber;
        value.text = text.substr(token.begin, token.end - token.begin);
        successful = CheckNumber(token, value.text);
        break;
      case TokenKind::kTrue:
      case TokenKind::kFalse:
        value.kind = JsonValue::Kind::kBoolean;
        value.text = text.substr(token.begin, token.end - token.begin);
        break;
      case TokenKind::kNull:
        break;
      default:
        if (token.kind == TokenKind::kArrayEnd && comma != nullptr) return FailAtTrailingComma(*comma, "]");
        return FailAtMissingValue(token, level);
    }
    value.end = position;
    return successful;
  }

  bool FailAtMissingValue(const Token& token, int level) {
    if (token.kind == TokenKind::kError) {
      static constexpr const char* kWords[] = {"true", "false", "null"};
      for (const std::string_view word : kWords) {
        std::string lowered(text.substr(token.begin, word.size()));
        std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                       [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
        if (lowered == word) return Fail(token.begin, "true, false and null are written in small letters.");
      }
    }
    return FailAt(token, level == 1 ? "an object" : "a value");
  }

  bool CheckNumber(const Token& token, const std::string& spelling) {
    if (!IsNumberToTheReader(spelling)) {
      return Fail(token.begin, Quoted(spelling) + " is not a number, or is too large or too small for one.");
    }
    if (!IsStandardNumber(spelling)) {
      Remark(JsonRemark::Kind::kNotStandard, token.begin,
             Quoted(spelling) + " is not a number in JSON; the launcher takes it for one.");
    }
    return true;
  }

  bool ReadObject(JsonValue& value, int level, bool is_kept) {
    std::map<std::string, size_t> last_of;  // Index of the last member with a name.
    std::vector<JsonMember> members;
    Token comma;
    bool has_comma = false;
    std::string name;
    for (;;) {
      Token token = ReadTokenBehindComments();
      if (token.kind == TokenKind::kError) return FailAtMissingName(token);
      // The reader asks whether the name before is empty, to tell an empty object: so a comma may follow a member that
      // has an empty name.
      if (token.kind == TokenKind::kObjectEnd && name.empty()) {
        if (has_comma) {
          Remark(JsonRemark::Kind::kNotStandard, comma.begin,
                 "This is a trailing comma; the launcher takes it behind a member with an empty name only.");
        }
        break;
      }
      if (token.kind == TokenKind::kObjectEnd && has_comma) return FailAtTrailingComma(comma, "}");
      if (token.kind != TokenKind::kText) return FailAtMissingName(token);

      JsonMember member;
      if (!DecodeText(token, member.name)) return false;
      member.begin = token.begin;
      member.end = token.end;
      name = member.name;

      const Token colon = ReadToken();
      if (colon.kind == TokenKind::kComment) {
        return Fail(colon.begin, "A comment may not stand between a member's name and its colon.");
      }
      if (colon.kind != TokenKind::kColon) return FailAt(colon, "a colon");

      if (!ReadValue(member.value, level + 1, is_kept, nullptr)) return false;
      NoteIfTwice(member, members, last_of);
      members.push_back(std::move(member));

      bool is_closed = false;
      if (!ReadObjectSeparator(comma, has_comma, is_closed)) return false;
      if (is_closed) break;
    }
    if (is_kept) value.members = std::move(members);
    return true;
  }

  // What follows a member: its object's end, or a comma.
  bool ReadObjectSeparator(Token& comma, bool& has_comma, bool& is_closed) {
    Token token = ReadToken();
    const bool is_behind_comment = token.kind == TokenKind::kComment;
    while (token.kind == TokenKind::kComment) token = ReadToken();
    is_closed = token.kind == TokenKind::kObjectEnd;
    has_comma = token.kind == TokenKind::kComma;
    if (has_comma) comma = token;
    if (is_closed || has_comma) return true;
    if (!is_behind_comment || token.kind == TokenKind::kEnd) return FailAt(token, "a comma or }");
    // Behind a comment the reader takes anything for the comma.
    Remark(JsonRemark::Kind::kNotStandard, token.begin,
           "A comma is missing here; behind a comment the launcher takes " +
               Quoted(text.substr(token.begin, std::min<size_t>(token.end - token.begin, 20))) + " for it.");
    return true;
  }

  bool FailAtMissingName(const Token& token) {
    if (token.kind == TokenKind::kNumber) return Fail(token.begin, "A member's name stands in quotes, a number too.");
    return FailAt(token, "a member's name, in quotes, or }");
  }

  void NoteIfTwice(const JsonMember& member, std::vector<JsonMember>& members, std::map<std::string, size_t>& last_of) {
    const auto [found, is_new] = last_of.try_emplace(member.name, members.size());
    if (is_new) return;
    JsonMember& earlier = members[found->second];
    earlier.counts = false;
    Remark(JsonRemark::Kind::kMemberTwice, earlier.begin, member.name, member.begin);
    found->second = members.size();
  }

  bool ReadArray(int level) {
    while (position < text.size() && IsBlank(text[position])) ++position;
    if (position < text.size() && text[position] == ']') {
      ++position;
      return true;
    }
    Token comma;
    for (bool is_first = true;; is_first = false) {
      JsonValue element;
      if (!ReadValue(element, level + 1, false, is_first ? nullptr : &comma)) return false;
      comma = ReadTokenBehindComments();
      if (comma.kind == TokenKind::kArrayEnd) return true;
      if (comma.kind != TokenKind::kComma) return FailAt(comma, "a comma or ]");
    }
  }

  bool DecodeText(const Token& token, std::string& decoded) {
    size_t at = token.begin + 1;
    const size_t end = token.end - 1;
    const char* not_standard = nullptr;
    while (at < end) {
      const char c = text[at++];
      if (c == '"') break;
      if (c != '\\') {
        if (static_cast<unsigned char>(c) < 0x20) not_standard = "a control character that is not escaped";
        decoded.push_back(c);
        continue;
      }
      if (!DecodeEscape(at, end, decoded, not_standard)) return false;
    }
    if (not_standard != nullptr) {
      Remark(JsonRemark::Kind::kNotStandard, token.begin,
             std::string("This text holds ") + not_standard + ", which JSON forbids; the launcher takes it.");
    }
    if (!IsUtf8(decoded)) Remark(JsonRemark::Kind::kNotUtf8, token.begin, decoded);
    return true;
  }

  // Decodes what follows a backslash; `at` is behind it.
  bool DecodeEscape(size_t& at, size_t end, std::string& decoded, const char*& not_standard) {
    const size_t backslash = at - 1;
    if (at == end) return Fail(backslash, "The text ends inside an escape.");
    const char escape = text[at++];
    switch (escape) {
      case '"':
      case '/':
      case '\\':
        decoded.push_back(escape);
        return true;
      case 'b':
        decoded.push_back('\b');
        return true;
      case 'f':
        decoded.push_back('\f');
        return true;
      case 'n':
        decoded.push_back('\n');
        return true;
      case 'r':
        decoded.push_back('\r');
        return true;
      case 't':
        decoded.push_back('\t');
        return true;
      case 'u':
        return DecodeUnicode(backslash, at, end, decoded, not_standard);
      default:
        return Fail(backslash, "There is no escape " + Quoted(text.substr(backslash, 2)) +
                                   "; a backslash itself is written twice.");
    }
  }

  bool DecodeUnicode(size_t backslash, size_t& at, size_t end, std::string& decoded, const char*& not_standard) {
    uint32_t code_point = 0;
    if (!DecodeFourDigits(backslash, at, end, code_point)) return false;
    if (code_point >= 0xD800 && code_point <= 0xDBFF) {
      static constexpr const char* kHalf = "The second half of a surrogate pair is missing behind this escape.";
      if (end - at < 6 || text[at] != '\\' || text[at + 1] != 'u') return Fail(backslash, kHalf);
      at += 2;
      uint32_t second = 0;
      if (!DecodeFourDigits(backslash, at, end, second)) return false;
      if (second < 0xDC00 || second > 0xDFFF) not_standard = "half of a surrogate pair";
      code_point = 0x10000 + ((code_point & 0x3FF) << 10) + (second & 0x3FF);
    }
    AppendCodePoint(code_point, decoded);
    return true;
  }

  bool DecodeFourDigits(size_t backslash, size_t& at, size_t end, uint32_t& number) {
    static constexpr const char* kDigits = "Four hexadecimal digits follow \\u.";
    if (end - at < 4) return Fail(backslash, kDigits);
    number = 0;
    for (int i = 0; i < 4; ++i) {
      const int digit = HexDigit(text[at++]);
      if (digit < 0) return Fail(backslash, kDigits);
      number = number * 16 + static_cast<uint32_t>(digit);
    }
    return true;
  }

  const std::string_view text;
  size_t position = 0;
  JsonDocument document;
};

}  // namespace

JsonDocument ReadJson(std::string_view text) { return Reader(text).Read(); }

size_t SkipBlanksAndComments(std::string_view text, size_t offset) {
  while (offset < text.size()) {
    if (IsBlank(text[offset])) {
      ++offset;
      continue;
    }
    const std::string_view opening = text.substr(offset, 2);
    size_t end = std::string_view::npos;
    if (opening == "//") {
      const size_t line_end = text.find_first_of("\r\n", offset);
      end = line_end == std::string_view::npos ? text.size() : line_end;
    } else if (opening == "/*") {
      const size_t closing = text.find("*/", offset + 2);
      if (closing != std::string_view::npos) end = closing + 2;
    }
    if (end == std::string_view::npos) return offset;
    offset = end;
  }
  return text.size();
}

// --- Places

static constexpr size_t kCheckpointBytes = 1024;

static size_t StepOver(std::string_view bytes, size_t offset) {
  return offset + std::max<size_t>(CharacterBytes(bytes.substr(offset)), 1);
}

TextPlaces::TextPlaces(std::string_view text) : bytes(text), line_starts{0}, checkpoints{{0, 0}} {
  size_t character = 0;
  for (size_t offset = 0; offset < bytes.size(); ++character) {
    if (offset - checkpoints.back().offset >= kCheckpointBytes) checkpoints.push_back({offset, character});
    const bool ends_line = bytes[offset] == '\n';
    offset = StepOver(bytes, offset);
    if (ends_line) line_starts.push_back(offset);
  }
}

size_t TextPlaces::CharacterIndex(size_t offset) const {
  const auto behind = std::upper_bound(checkpoints.begin(), checkpoints.end(), offset,
                                       [](size_t wanted, const Checkpoint& at) { return wanted < at.offset; });
  Checkpoint at = *std::prev(behind);
  for (; at.offset < offset; ++at.character) at.offset = StepOver(bytes, at.offset);
  return at.character;
}

TextPlaces::Place TextPlaces::At(size_t offset) const {
  const size_t wanted = std::min(offset, bytes.size());
  const auto behind = std::upper_bound(line_starts.begin(), line_starts.end(), wanted);
  const size_t line_start = *std::prev(behind);
  return {static_cast<size_t>(behind - line_starts.begin()), CharacterIndex(wanted) - CharacterIndex(line_start) + 1};
}

std::string_view TextPlaces::Line(size_t line) const {
  if (line == 0 || line > line_starts.size()) return {};
  const size_t begin = line_starts[line - 1];
  const size_t end = std::min(bytes.find('\n', begin), bytes.size());
  return bytes.substr(begin, end - begin);
}
