#include "launcherctl/log_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "launcherctl/escape.h"
#include "launcherctl/file_times.h"

static constexpr int kOlderFiles = 4;
static constexpr int64_t kMostBytesOfAFile = int64_t{64} * 1024 * 1024;

// --- One line

// Reads the number at the start of `text` and steps behind it. Returns false where there is none, or one beyond 64
// bits.
template <typename Number>
static bool TakeNumber(std::string_view& text, Number& number) {
  uint64_t value = 0;
  size_t digits = 0;
  while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9') {
    const auto digit = static_cast<uint64_t>(text[digits] - '0');
    if (value > (std::numeric_limits<uint64_t>::max() - digit) / 10) return false;
    value = value * 10 + digit;
    ++digits;
  }
  if (digits == 0 || value > static_cast<uint64_t>(std::numeric_limits<Number>::max())) return false;
  number = static_cast<Number>(value);
  text.remove_prefix(digits);
  return true;
}

// Reads the number at the end of `text` and cuts it off.
static bool TakeLastNumber(std::string_view& text, int32_t& number) {
  size_t start = text.size();
  while (start > 0 && text[start - 1] >= '0' && text[start - 1] <= '9') --start;
  std::string_view digits = text.substr(start);
  if (!TakeNumber(digits, number)) return false;
  if (start > 0 && text[start - 1] == '-') {
    --start;
    number = -number;
  }
  text = text.substr(0, start);
  return true;
}

static bool TakePrefix(std::string_view& text, std::string_view prefix) {
  if (text.substr(0, prefix.size()) != prefix) return false;
  text.remove_prefix(prefix.size());
  return true;
}

static bool TakeSuffix(std::string_view& text, std::string_view suffix) {
  if (text.size() < suffix.size() || text.substr(text.size() - suffix.size()) != suffix) return false;
  text.remove_suffix(suffix.size());
  return true;
}

static void SkipBlanks(std::string_view& text) {
  const size_t first = text.find_first_not_of(' ');
  text.remove_prefix(first == std::string_view::npos ? text.size() : first);
}

// The days from 1970-01-01 to a date of the Gregorian calendar.
static int64_t DaysFromCivil(int64_t year, int64_t month, int64_t day) {
  if (month <= 2) --year;  // Years begin in March here, so that leap days end them.
  const int64_t era = year / 400;
  const int64_t year_of_era = year - era * 400;
  const int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year - 719468;
}

// "2026-11-20T21:39:00.123+01:00" at the start of `text`, which is stepped over.
static bool TakeTime(std::string_view& text, LogRecord& record) {
  static constexpr char kForm[] = "dddd-dd-ddTdd:dd:dd.ddd+dd:dd";
  constexpr size_t kBytes = sizeof(kForm) - 1;
  if (text.size() < kBytes) return false;
  int64_t fields[9] = {};
  size_t field = 0;
  for (size_t i = 0; i < kBytes; ++i) {
    const char c = text[i];
    if (kForm[i] == 'd') {
      if (c < '0' || c > '9') return false;
      fields[field] = fields[field] * 10 + (c - '0');
    } else {
      if (c != kForm[i] && !(kForm[i] == '+' && c == '-')) return false;
      ++field;
    }
  }
  const int64_t offset = (fields[7] * 60 + fields[8]) * 60 * (text[kBytes - 6] == '-' ? -1 : 1);
  if (fields[1] < 1 || fields[1] > 12 || fields[2] < 1 || fields[2] > 31) return false;
  const int64_t seconds =
      DaysFromCivil(fields[0], fields[1], fields[2]) * 86400 + fields[3] * 3600 + fields[4] * 60 + fields[5] - offset;
  record.time_ms = seconds * 1000 + fields[6];
  record.utc_offset_seconds = static_cast<int32_t>(offset);
  text.remove_prefix(kBytes);
  return true;
}

static bool TakeColumn(std::string_view& text, std::string_view& column) {
  SkipBlanks(text);
  column = text.substr(0, text.find(' '));
  text.remove_prefix(column.size());
  return !column.empty();
}

// "NAME 4711 is killed. ret = 4711, status = 9", from the right.
static bool ReadEnd(std::string_view text, LogRecord& record) {
  if (!TakeLastNumber(text, record.status) || !TakeSuffix(text, ", status = ") || !TakeLastNumber(text, record.ret) ||
      !TakeSuffix(text, " is killed. ret = ") || !TakeLastNumber(text, record.child) || !TakeSuffix(text, " ")) {
    return false;
  }
  record.name = text;
  return true;
}

static void ReadMessage(std::string_view text, LogRecord& record) {
  record.kind = RecordKind::kOther;
  if (std::string_view loss = text; TakePrefix(loss, "[LOGGER    ] ")) {
    if (TakeNumber(loss, record.lost) && (TakePrefix(loss, " records lost") || TakePrefix(loss, " record lost"))) {
      record.kind = RecordKind::kLost;
    }
    return;
  }
  if (!TakePrefix(text, "[LAUNCHER  ] ")) return;
  if (record.level == "DEBUG") {
    if (!TakePrefix(text, "Start to fork ")) return;
    record.kind = RecordKind::kStart;
    record.name = text;
    return;
  }
  std::string_view rest = text;
  if (ReadEnd(text, record)) {
    record.kind = RecordKind::kEnd;
    record.may_be_failed_fork = TakePrefix(rest, "Failed to fork ");
  } else if (TakePrefix(rest, "Failed to fork ")) {
    record.kind = RecordKind::kForkFailed;
    record.name = rest;
  } else if (TakePrefix(rest, "program path of ") && TakeSuffix(rest, " is empty")) {
    record.kind = RecordKind::kNoProgram;
    record.name = rest;
  } else if (text == "There is an item has no name.") {
    record.kind = RecordKind::kNameless;
  } else if (text == "Error while parsing saved json string.") {
    record.kind = RecordKind::kParseError;
  }
}

bool ParseRecord(std::string_view line, LogRecord& record) {
  if (!TakeTime(line, record) || !TakePrefix(line, " ")) return false;
  if (!TakeColumn(line, record.level) || !TakeColumn(line, record.module)) return false;
  SkipBlanks(line);
  if (!TakeNumber(line, record.process) || !TakePrefix(line, " ")) return false;
  SkipBlanks(line);
  if (!TakeNumber(line, record.thread) || !TakePrefix(line, " ")) return false;
  record.message = line;
  ReadMessage(line, record);
  return true;
}

// --- One file's text

// Appends the records of `text`, oldest first.
static void ParseText(std::string_view text, uint8_t file_index, LogFile& file, std::vector<LogRecord>& records) {
  uint32_t line_number = 0;
  if (file.start_is_cut) {
    const size_t end = text.find('\n');
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  while (!text.empty()) {
    const auto* const end = static_cast<const char*>(memchr(text.data(), '\n', text.size()));
    if (end == nullptr) break;  // Just being written, or left by a process that was ended.
    const std::string_view line = text.substr(0, static_cast<size_t>(end - text.data()));
    text.remove_prefix(line.size() + 1);
    ++line_number;
    LogRecord record;
    if (ParseRecord(line, record)) {
      record.file = file_index;
      record.line = file.start_is_cut ? 0 : line_number;
      records.push_back(record);
    } else if (!line.empty()) {
      ++file.torn_lines;
    }
  }
}

static std::optional<int64_t> FirstTime(std::string_view text) {
  while (!text.empty()) {
    LogRecord record;
    const size_t end = text.find('\n');
    if (end == std::string_view::npos) break;
    if (ParseRecord(text.substr(0, end), record)) return record.time_ms;
    text.remove_prefix(end + 1);
  }
  return std::nullopt;
}

// Puts the records of all texts together; `texts` has the newest first, null for a file without one.
static void ParseTexts(Log& log) {
  for (size_t i = log.files.size(); i-- > 0;) {
    if (log.texts[i] == nullptr) continue;
    if (log.records.empty()) log.records.reserve(log.texts[i]->size() / 100 * log.files.size());
    ParseText(*log.texts[i], static_cast<uint8_t>(i), log.files[i], log.records);
  }
}

Log ParseLog(const std::vector<std::string>& newest_first) {
  Log log;
  for (size_t i = 0; i < newest_first.size(); ++i) {
    LogFile file;
    file.path = "launcher.log" + (i == 0 ? std::string() : "." + std::to_string(i));
    file.state = LogFile::State::kRead;
    file.bytes = static_cast<int64_t>(newest_first[i].size());
    log.files.push_back(file);
    log.texts.push_back(std::make_unique<std::string>(newest_first[i]));
  }
  ParseTexts(log);
  return log;
}

// --- The files

class Descriptor {
 public:
  explicit Descriptor(int number) : descriptor(number) {}
  ~Descriptor() {
    if (descriptor >= 0) (void)close(descriptor);
  }
  Descriptor(Descriptor&& other) noexcept : descriptor(other.descriptor) { other.descriptor = -1; }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return descriptor; }

 private:
  int descriptor;
};

struct OpenedLog {
  std::vector<LogFile> files;
  std::vector<Descriptor> descriptors;
};

static OpenedLog OpenFiles(const std::string& folder) {
  OpenedLog opened;
  for (int number = 0; number <= kOlderFiles; ++number) {
    LogFile file;
    file.path = folder + "/launcher.log" + (number == 0 ? "" : "." + std::to_string(number));
    Descriptor descriptor(open(file.path.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC));
    struct stat status = {};
    if (descriptor.get() < 0) {
      file.state = errno == ENOENT || errno == ENOTDIR ? LogFile::State::kMissing
                   : errno == ELOOP                    ? LogFile::State::kNotAFile
                                                       : LogFile::State::kUnreadable;
      file.reason = errno == ELOOP ? "a symbolic link" : strerror(errno);
    } else if (fstat(descriptor.get(), &status) != 0 || !S_ISREG(status.st_mode)) {
      file.state = LogFile::State::kNotAFile;
      file.reason = S_ISDIR(status.st_mode) ? "a folder" : "not a regular file";
    } else {
      file.state = LogFile::State::kRead;
      file.bytes = status.st_size;
      file.born_ms = FileBirthMs(descriptor.get());
    }
    opened.files.push_back(std::move(file));
    opened.descriptors.push_back(std::move(descriptor));
  }
  return opened;
}

// Whether each path still leads to what was opened there. Not when a rotation has come in between.
static bool IsStillTrue(const OpenedLog& opened) {
  for (size_t i = 0; i < opened.files.size(); ++i) {
    if (opened.files[i].state != LogFile::State::kRead && opened.files[i].state != LogFile::State::kMissing) continue;
    struct stat named = {};
    struct stat open_file = {};
    const bool is_named = lstat(opened.files[i].path.c_str(), &named) == 0;
    const bool is_open = opened.descriptors[i].get() >= 0 && fstat(opened.descriptors[i].get(), &open_file) == 0;
    if (is_named != is_open) return false;
    if (is_open && (named.st_ino != open_file.st_ino || named.st_dev != open_file.st_dev)) return false;
  }
  return true;
}

static std::unique_ptr<std::string> ReadFile(int descriptor, LogFile& file) {
  auto text = std::make_unique<std::string>();
  off_t position = 0;
  if (file.bytes > kMostBytesOfAFile) {
    position = static_cast<off_t>(file.bytes - kMostBytesOfAFile);
    file.start_is_cut = true;
  }
  text->resize(static_cast<size_t>(file.bytes - position));
  size_t filled = 0;
  while (filled < text->size()) {
    const ssize_t count =
        pread(descriptor, text->data() + filled, text->size() - filled, position + static_cast<off_t>(filled));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      file.state = LogFile::State::kUnreadable;
      file.reason = strerror(errno);
      return nullptr;
    }
    if (count == 0) break;  // It has been truncated since.
    filled += static_cast<size_t>(count);
  }
  text->resize(filled);
  return text;
}

Log ReadLog(const std::string& folder, int64_t since_ms) {
  constexpr int kMostTries = 5;
  OpenedLog opened = OpenFiles(folder);
  for (int tries = 1; tries < kMostTries && !IsStillTrue(opened); ++tries) opened = OpenFiles(folder);
  Log log;
  log.folder = folder;
  log.files = std::move(opened.files);
  log.texts.resize(log.files.size());
  bool is_enough = false;
  for (size_t i = 0; i < log.files.size(); ++i) {
    LogFile& file = log.files[i];
    if (file.state != LogFile::State::kRead) continue;
    if (is_enough) {
      file.state = LogFile::State::kNotNeeded;
      continue;
    }
    log.texts[i] = ReadFile(opened.descriptors[i].get(), file);
    if (log.texts[i] == nullptr) continue;
    const auto first = FirstTime(*log.texts[i]);
    is_enough = first && *first < since_ms;
  }
  ParseTexts(log);
  return log;
}

bool Log::ReachesBackTo(int64_t time_ms) const {
  // A file is made a moment before its first record, and a launcher makes it a moment after its own start.
  constexpr int64_t kSlackMs = 10000;
  if (!IsThere()) return false;
  const LogFile* oldest = &files[0];
  for (const LogFile& file : files) {
    if (file.state == LogFile::State::kNotNeeded) return true;
    if (file.state == LogFile::State::kMissing) break;  // Nothing is kept behind a gap in the numbers.
    if (file.state != LogFile::State::kRead) return false;
    oldest = &file;
    if (file.start_is_cut) break;
  }
  const auto oldest_index = static_cast<uint8_t>(oldest - files.data());
  for (const LogRecord& record : records) {
    if (record.file > oldest_index) continue;
    if (record.time_ms < time_ms) return true;
    break;
  }
  // Nothing older is there. Was it ever?
  const bool may_have_dropped_older = oldest_index == kOlderFiles || oldest->start_is_cut;
  const bool was_begun_later = oldest->born_ms > time_ms + kSlackMs;
  return !may_have_dropped_older && !was_begun_later;
}

std::string PlaceOf(const LogRecord& record, const Log& log) {
  const std::string& path = log.files[record.file].path;
  std::string place = path.substr(path.rfind('/') + 1);
  if (record.line > 0) place += ":" + std::to_string(record.line);
  return place;
}

// Texts for people are shown as the log shows them.
std::string LoggedForm(std::string_view text) { return ShownText(text); }
