// launcherctl's verb `check` on a list of 1,000 items, each with a program of its own, beside what the launcher itself
// does with the list before it starts anything: reading the file and taking it apart. The aim is 50 milliseconds.
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "bench/compare.h"
#include "common/json/json_object.h"
#include "launcherctl/check_list.h"
#include "launcherctl/findings_output.h"
#include "tests/support/files.h"
#include "tests/support/temp_folder.h"

static constexpr int kItems = 1000;

// A list whose programs exist; with `mistakes` every item has three.
static const std::string& ListFile(bool mistakes) {
  static const TempFolder folder;
  static const auto write = [](bool with_mistakes) {
    std::string list = "{\n";
    for (int i = 0; i < kItems; ++i) {
      const std::string number = std::to_string(i);
      const std::string program = folder.path() + (with_mistakes ? "/other" : "/program") + number;
      std::filesystem::create_symlink("/bin/sh", program);
      list += (i > 0 ? ",\n" : "") + std::string("  \"") + number + "\": {\n    \"name\": \"item " + number +
              "\",\n    \"program\": \"" + program + (with_mistakes ? "-missing" : "") +
              "\",\n    \"argc\": 2,\n    \"args\": { \"0\": \"--quiet\", \"1\": \"--all\" },\n    " +
              (with_mistakes ? "\"run_onec\": true, \"argc\": 1" : "\"run_once\": false") + "\n  }";
    }
    const std::string path = folder.path() + (with_mistakes ? "/mistakes.json" : "/list.json");
    WriteFile(path, list + "\n}\n");
    (void)chmod(path.c_str(), S_IRUSR | S_IWUSR);
    return path;
  };
  static const std::string well = write(false);
  static const std::string with_mistakes = write(true);
  return mistakes ? with_mistakes : well;
}

static size_t ReadAndParse(const std::string& path) {
  const std::string text = ReadFile(path);
  return JsonObject(text.data(), static_cast<unsigned int>(text.size())).GetArraySize();
}

static const Comparison kWell(
    "check", "1,000 items, all well", [] { return CheckList(ReadLaunchList(ListFile(false))).size(); },
    "reading and parsing", [] { return ReadAndParse(ListFile(false)); });

static const Comparison kMistakes(
    "check", "1,000 items, 4,000 findings as JSON",
    [] { return ToJson(CheckList(ReadLaunchList(ListFile(true)))).ToText().size(); }, "reading and parsing",
    [] { return ReadAndParse(ListFile(true)); });
