// launcherctl's reader of the launcher's log, and what it infers: whatever stands in a log, each record is a line of
// it, what a record views lies within that line, and nothing ends the inference.
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "launcherctl/log_reader.h"
#include "launcherctl/model.h"
#include "launcherctl/stop_outlook.h"

static bool LiesIn(std::string_view part, const std::string& text) {
  return part.empty() || (part.data() >= text.data() && part.data() + part.size() <= text.data() + text.size());
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Log log = ParseLog({std::string(reinterpret_cast<const char*>(data), size)});
  uint32_t line = 0;
  for (const LogRecord& record : log.records) {
    Require(record.line > line, "records stand in the order of their lines");
    line = record.line;
    Require(LiesIn(record.message, *log.texts[0]) && LiesIn(record.name, *log.texts[0]), "a record is part of the log");
    Require(record.message.find('\n') == std::string_view::npos, "a message is one line");
    Require(record.message.find(record.name) != std::string_view::npos, "a name is part of its message");
  }

  Process launcher;
  launcher.pid = 4711;
  launcher.sigterm = SigtermAction::kCaught;
  launcher.executable = "/Contents/MacOS/launcher";
  launcher.threads.resize(3);
  for (size_t i = 0; i < launcher.threads.size(); ++i) launcher.threads[i].id = 4711 + i;
  ProcessTable table;
  table.processes.push_back(launcher);
  LauncherFacts facts;
  facts.process = &launcher;
  facts.table = &table;
  facts.log = &log;
  for (const char* name : {"sync", "thumbs", "sync"}) {
    PlannedItem item;
    item.number = static_cast<int64_t>(facts.items.size());
    item.name = name;
    facts.items.push_back(item);
  }
  facts.items[0].fate = PlannedItem::Fate::kReplaced;
  const LauncherKnowledge known = Infer(facts);
  Require(known.items.size() >= facts.items.size(), "every item is told of");
  (void)JudgeStop(known, 0, [](int32_t) { return std::string(); });
  return 0;
}
