#include "launcher/launch_list.h"

#include <stdio.h>
#include <string.h>

#include <memory>
#include <utility>
#include <vector>

#include "common/json/json_object.h"
#include "common/logging/log.h"
#include "launcher/child_proc.h"
#include "launcher/daemon.h"
#include "launcher/sigterm_mask.h"

bool ReadData(std::string path, std::string& text) {
  std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "rb"), &fclose);
  if (file == nullptr) {
    __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Failed to open file %s", path.c_str());
    return false;
  }
  std::vector<char> bytes;
  // Only the end of the file ends the loop; after a read error it tries again.
  while (feof(file.get()) == 0) {
    char chunk[128];
    memset(chunk, 0, sizeof(chunk));
    const size_t count = fread(chunk, 1, sizeof(chunk), file.get());
    if (count == 0) continue;
    bytes.insert(bytes.end(), chunk, chunk + count);
  }
  file.reset();
  if (bytes.empty()) {
    __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] Size of read %s is 0", path.c_str());
    return false;
  }
  bytes.push_back('\0');
  text = bytes.data();
  return true;
}

void StartChildren(const std::string& launcher_name, const std::string& text) {
  JsonObject list(text.data(), static_cast<unsigned int>(text.size()));
  for (int i = 0;; ++i) {
    const std::string key = std::to_string(i);
    if (!list.HasObject(key.c_str())) break;
    JsonObject item = list[key.c_str()];
    if (!item.HasObject("/name")) {
      __LOG__A(logger, LOGLEVEL_ERROR, "[LAUNCHER  ] There is an item has no name.");
      continue;
    }
    const std::string name = item.GetObject("name");
    auto child = std::make_shared<ChildProc>(launcher_name, item);
    // A SIGTERM that has come meanwhile stops those in the map. This one is not there yet, and stays.
    MeetSigterm();
    // The new supervisor runs before the assignment stops the one that it replaces.
    g_child_map[name] = std::move(child);
  }
}
