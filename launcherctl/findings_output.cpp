#include "launcherctl/findings_output.h"

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>

#include "launcherctl/escape.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/json_places.h"
#include "launcherctl/read_file.h"

JsonObject ToJson(const Finding& finding) {
  JsonObject object = JsonObject::GetEmptyObject();
  object["file"] = JsonText(finding.file);
  object.Insert("line", Number(static_cast<int64_t>(finding.line)));
  object.Insert("column", Number(static_cast<int64_t>(finding.column)));
  object["code"] = finding.code;
  object["severity"] = std::string(SeverityName(finding.severity));
  object.Insert("item", finding.item ? Number(*finding.item) : Null());
  object.Insert("name", finding.name ? Text(JsonText(*finding.name)) : Null());
  object["message"] = finding.message;
  object["consequence"] = finding.consequence;
  object["remedy"] = finding.remedy;
  return object;
}

JsonObject ToJson(const std::vector<Finding>& findings) {
  JsonObject array = EmptyArray();
  for (const Finding& finding : findings) {
    JsonObject object = ToJson(finding);
    array.InsertArrayItem(object);
  }
  return array;
}

FindingCounts CountFindings(const std::vector<Finding>& findings) {
  FindingCounts counts;
  for (const Finding& finding : findings) {
    switch (finding.severity) {
      case Severity::kError:
        ++counts.errors;
        break;
      case Severity::kWarning:
        ++counts.warnings;
        break;
      case Severity::kNote:
        ++counts.notes;
        break;
    }
  }
  return counts;
}

std::string CountsInWords(const FindingCounts& counts) {
  std::string words;
  const auto add = [&words](int64_t count, const char* what) {
    if (count == 0) return;
    words += (words.empty() ? "" : ", ") + std::to_string(count) + " " + what + (count == 1 ? "" : "s");
  };
  add(counts.errors, "error");
  add(counts.warnings, "warning");
  add(counts.notes, "note");
  return words.empty() ? "nothing" : words;
}

// --- For people

static Output::Color ColorOf(Severity severity) {
  switch (severity) {
    case Severity::kError:
      return Output::Color::kRed;
    case Severity::kWarning:
      return Output::Color::kYellow;
    case Severity::kNote:
      break;
  }
  return Output::Color::kDim;
}

static std::string Headline(const Finding& finding, const Output& out) {
  return out.Colored(Output::Color::kBold, ShownText(finding.file) + ":" + std::to_string(finding.line) + ":" +
                                               std::to_string(finding.column) + ":") +
         " " + out.Colored(ColorOf(finding.severity), std::string(SeverityName(finding.severity)) + ":") + " " +
         finding.message + " [" + finding.code + "]\n";
}

namespace {

// The files' lines; each file is read once, when its first finding is shown.
class Excerpts {
 public:
  // The line of the finding with a mark below its column, or an empty text: of what concerns the whole file, and when
  // the file can't be read.
  std::string Of(const Finding& finding, int width) {
    if (finding.line == 1 && finding.column == 1) return {};
    Open(finding.file);
    const std::string_view line = places->Line(finding.line);
    if (line.empty()) return {};
    const std::string number = std::to_string(finding.line);
    const std::string margin(std::max<size_t>(number.size(), 5), ' ');
    const size_t room = static_cast<size_t>(width) - margin.size() - 3;

    // Of a line that is too long, what lies around the column.
    size_t first = 0;  // In characters.
    if (finding.column > room * 2 / 3) first = finding.column - room / 3;
    std::string shown;
    std::string mark;
    size_t character = 0;
    size_t column = 0;  // On the screen, as far as each character takes one.
    for (std::string_view rest = line; !rest.empty() && column < room; ++character) {
      const size_t bytes = std::max<size_t>(CharacterBytes(rest), 1);
      if (character + 1 == finding.column) mark = std::string(column, ' ') + "^";
      if (character >= first && rest.front() != '\r') {
        // A tab is shown as a blank, which is what it is for.
        const std::string piece = rest.front() == '\t' ? " " : ShownText(rest.substr(0, bytes));
        column += CountCharacters(piece);
        if (column > room) break;
        shown += piece;
      }
      rest.remove_prefix(bytes);
    }
    if (mark.empty()) mark = std::string(column, ' ') + "^";
    return margin.substr(number.size()) + number + " | " + shown + "\n" + margin + " | " + mark + "\n";
  }

 private:
  void Open(const std::string& path) {
    if (places != nullptr && path == file) return;
    constexpr size_t kMostBytes = size_t{16} << 20U;
    file = path;
    content = ReadRegularFile(path, kMostBytes).bytes;
    places = std::make_unique<TextPlaces>(content);
  }

  std::string file;
  std::string content;
  std::unique_ptr<TextPlaces> places;
};

}  // namespace

// "    Then: ..." with what does not fit on the line below it.
static std::string Paragraph(const std::string& label, std::string_view text, int width) {
  const std::string indent(4 + label.size(), ' ');
  const size_t room = static_cast<size_t>(width) - indent.size();
  std::string paragraph = "    " + label;
  size_t column = 0;
  while (!text.empty()) {
    const size_t blank = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, blank);
    text.remove_prefix(std::min(blank + 1, text.size()));
    const size_t length = CountCharacters(word);
    if (column > 0 && column + 1 + length > room) {
      paragraph += "\n" + indent;
      column = 0;
    } else if (column > 0) {
      paragraph += ' ';
      ++column;
    }
    paragraph += word;
    column += length;
  }
  return paragraph + "\n";
}

static std::string InFull(const Finding& finding, Excerpts& excerpts, const Output& out) {
  return Headline(finding, out) + excerpts.Of(finding, out.width) +
         Paragraph("Then: ", finding.consequence, out.width) + Paragraph("Do:   ", finding.remedy, out.width);
}

// How many lines of the terminal the text takes.
static int LinesOf(std::string_view text, int width) {
  int lines = 0;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    const auto characters = static_cast<int>(CountCharacters(text.substr(0, end)));
    lines += std::max(1, (characters + width - 1) / width);
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

void WriteFindings(const std::vector<Finding>& findings, bool all, Output& out) {
  constexpr int kOtherLines = 3;  // The summary, and what the shell writes.
  const int room = std::max(out.height - kOtherLines, 1);
  const bool is_limited = out.is_terminal && !all;

  Excerpts excerpts;
  std::string full;
  int lines = 0;
  for (const Finding& finding : findings) {
    const std::string text = InFull(finding, excerpts, out);
    lines += LinesOf(text, out.width);
    if (is_limited && lines > room) break;
    full += text;
  }
  if (!is_limited || lines <= room) {
    out.Write(full);
    return;
  }
  lines = 0;
  size_t shown = 0;
  for (const Finding& finding : findings) {
    const std::string line = Headline(finding, out);
    lines += LinesOf(line, out.width);
    if (lines >= room) break;
    out.Write(line);
    ++shown;
  }
  const size_t left = findings.size() - shown;
  out.Write((left > 0 ? "... and " + std::to_string(left) + " more. " : std::string()) +
            "All of them, with what to do: launcherctl check --all\n");
}
