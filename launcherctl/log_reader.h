// Reads the launcher's log: launcher.log and the older files launcher.log.1 to launcher.log.4 beside it. liblogger(7)
// describes their form.
//
// Nobody vouches for what stands in a log: the name in a message may hold anything, another message's text included. So
// a message is taken apart from its right end, and names are compared in the form in which the log writes them. What is
// returned is raw; whoever shows it escapes it.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

enum class RecordKind : uint8_t {
  kStart,       // "Start to fork NAME", level DEBUG: before the fork, so without the child's id.
  kEnd,         // "NAME CHILD is killed. ret = RET, status = STATUS"
  kForkFailed,  // "Failed to fork NAME": the item is given up.
  kNoProgram,   // "program path of NAME is empty"; written by the forked child, so `process` is the child's.
  kNameless,    // "There is an item has no name."
  kParseError,  // "Error while parsing saved json string."
  kLost,        // The logging library's own: `lost` records could not be written.
  kOther,       // Anything else, a message that was cut for its length among it.
};

struct LogRecord {
  int64_t time_ms = 0;  // Since 1970 UTC.
  int32_t utc_offset_seconds = 0;
  int32_t process = 0;
  uint64_t thread = 0;
  std::string_view level;  // "ERROR"; a level without a name is a number.
  std::string_view module;
  std::string_view message;  // All behind the columns.
  std::string_view name;     // The item's, as the log writes it; empty where the kind has none.
  int32_t child = 0;         // kEnd only, as the next two.
  int32_t ret = 0;           // -1: the wait failed, and the status means nothing.
  int32_t status = 0;        // The raw wait status.
  uint64_t lost = 0;         // kLost only.
  uint32_t line = 0;         // In its file, counted from 1; 0 where the file's start was not read.
  uint8_t file = 0;          // Index into `Log::files`.
  RecordKind kind = RecordKind::kOther;
  // An end of an item called "Failed to fork x" and a failed fork of an item called "x 715 is killed. ret = ..." are
  // the same text. It is taken for an end then, and this is set.
  bool may_be_failed_fork = false;
};

struct LogFile {
  enum class State {
    kRead,
    kMissing,
    kUnreadable,  // `reason` is the system's.
    kNotAFile,    // A link, folder, FIFO or device, which the logging library does not write to.
    kNotNeeded,   // Older than what was asked for.
  };
  std::string path;
  State state = State::kMissing;
  std::string reason;
  int64_t bytes = 0;
  int64_t born_ms = 0;        // When the file was made, or 0 where the file system does not tell.
  bool start_is_cut = false;  // Larger than what is read of one file: the end was read.
  uint32_t torn_lines = 0;    // Lines that are no records, such as pieces of some.
};

// The records and the texts that they point into. Can be moved, not copied.
struct Log {
  std::string folder;
  std::vector<LogFile> files;      // launcher.log first, then .1 to .4.
  std::vector<LogRecord> records;  // In the order in which they were written: the oldest file's first line first. The
                                   // clock may have been set back in between.
  bool IsThere() const { return !files.empty() && files[0].state == LogFile::State::kRead; }

  // Whether everything that was logged from `time_ms` on must be among the records: a record before that time is, or
  // nothing older was ever there. False where a file is missing, unreadable or cut, or was begun later than that
  // without an older one beside it. Records that somebody has cut out are not noticed.
  bool ReachesBackTo(int64_t time_ms) const;

  std::vector<std::unique_ptr<std::string>> texts;  // Owns what the records view.
};

// Reads what the files in `folder` hold. Files all of whose records are older than `since_ms` are left out, as far as
// their first record tells. Never waits, whatever stands in the place of a file; a rotation meanwhile does no harm.
// A file beyond 64 MiB is read from its end.
Log ReadLog(const std::string& folder, int64_t since_ms = std::numeric_limits<int64_t>::min());

// The same for texts that are at hand, the newest file's first; an older one that is absent is missing.
Log ParseLog(const std::vector<std::string>& newest_first);

// Takes one line apart, without its line feed. Returns false if it is no record. `record` views `line`.
bool ParseRecord(std::string_view line, LogRecord& record);

// Where a record stands, for people: "launcher.log.1:22".
std::string PlaceOf(const LogRecord& record, const Log& log);

// `text` in the form in which the log writes it. (Without the cut for its length.)
std::string LoggedForm(std::string_view text);
