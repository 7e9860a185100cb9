// launcherctl: shows what the launcher is doing, and why a program does not run. It reads the launch list, the settings
// files, the log and the process table, and changes none of them; `stop` alone acts.
//
// Here is the command line; a verb is a file each.

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "launcherctl/check_verb.h"
#include "launcherctl/completion.h"
#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/explain_verb.h"
#include "launcherctl/history_verb.h"
#include "launcherctl/nearest.h"
#include "launcherctl/output.h"
#include "launcherctl/status_verb.h"
#include "launcherctl/stop_verb.h"
#include "launcherctl/why_verb.h"

static constexpr const char* kSummary =
    "Shows what the launcher is doing, and why a program does not run.\n"
    "Changes nothing; only `stop` acts.";
static constexpr const char* kExitStatuses =
    "Exit status: 0 all is well, 1 something was found that needs a person, 2 not answered, 3 no launcher runs.\n"
    "launcherctl VERB --help tells more; launcherctl(8) tells all.";

// What a verb's option parser fills in, and what is called when that verb was asked for.
struct CommandLine {
  CLI::App app{kSummary, "launcherctl"};
  bool json = false;
  std::function<int(Output&)> run;

  CLI::App* AddVerb(const std::string& name, const std::string& summary) {
    CLI::App* const verb = app.add_subcommand(name, summary);
    verb->add_flag("--json", json, "One JSON object on standard output");
    return verb;
  }
};

// CLI11 takes "-1" for an option, also behind other arguments and "--". No option begins with a digit, so it is a
// number, a name or a path: this mark in front hides that from CLI11, and is taken away again from what CLI11 gives
// back.
static constexpr char kMark = '\x01';

static bool NeedsMark(std::string_view text) {
  const bool is_number = text.size() > 1 && text[0] == '-' && text[1] >= '0' && text[1] <= '9';
  const bool has_one = !text.empty() && text[0] == kMark;  // As somebody typed it.
  return is_number || has_one;
}

static void HideNegativeNumbers(std::vector<std::string>& arguments) {
  for (std::string& argument : arguments) {
    if (NeedsMark(argument)) argument.insert(argument.begin(), kMark);
  }
}

// The argument as it was typed.
static std::string WithoutMark(std::string argument) {
  if (!argument.empty() && argument[0] == kMark) argument.erase(0, 1);
  return argument;
}

// The same for a sentence about arguments.
static std::string WithoutMarks(std::string_view text) {
  std::string shown;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] == kMark && NeedsMark(text.substr(i + 1))) ++i;
    shown += text[i];
  }
  return shown;
}

static void ShowNegativeNumbers(CLI::App& app) {
  for (CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
    for (CLI::Option* option : verb->get_options()) {
      if (option->get_expected_max() > 0) option->transform(&WithoutMark);  // A flag takes nothing.
    }
  }
}

static void AddExplain(CommandLine& line) {
  static std::vector<std::string> statuses;
  CLI::App* const verb = line.AddVerb("explain", "Raw wait statuses in words: 768 is exit status 3");
  verb->add_option("STATUS", statuses, "The number behind \"status = \" in a log line")->required();
  verb->callback([&line] { line.run = [](Output& out) { return RunExplain(statuses, out); }; });
}

static void AddCheck(CommandLine& line) {
  static CheckOptions options;
  CLI::App* const verb = line.AddVerb("check", "Mistakes in launch lists and settings, before the launcher meets them");
  verb->add_option("LIST", options.lists, "Launch lists; without one those of the running launchers");
  verb->add_flag("--no-settings", options.without_settings, "Leave qz3api.ini and log.ini out");
  verb->add_flag("--all", options.all, "Show every finding in full, even beyond a screen");
  verb->callback([&line] { line.run = [](Output& out) { return RunCheck(options, out); }; });
}

static void AddHistory(CommandLine& line) {
  static HistoryOptions options;
  CLI::App* const verb = line.AddVerb("history", "Runs, ends and pauses over time: a table, a timeline, a picture");
  verb->add_option("NAME", options.names, "Only these items, and each of their runs");
  verb->add_option("--since", options.since, "02:00, yesterday, 3h, or a date and time")->type_name("TIME");
  verb->add_flag("--timeline", options.timeline, "A line of characters an item");
  verb->add_option("--svg", options.svg, "Write a picture; - is standard output")->type_name("FILE");
  verb->add_option("--html", options.html, "Write a page with the picture and a table")->type_name("FILE");
  verb->add_option("--log", options.log_folder, "A log's folder from elsewhere")->type_name("FOLDER");
  verb->add_option("--list", options.list, "The list that goes with the log")->type_name("LIST");
  verb->add_flag("--all", options.all, "Everything, even beyond a screen");
  verb->callback([&line] { line.run = [](Output& out) { return RunHistory(options, out); }; });
}

static void AddStatus(CommandLine& line) {
  static StatusOptions options;
  CLI::App* const verb = line.AddVerb("status", "The running launchers, and what each item does; also without a verb");
  verb->add_option("--watch", options.watch_seconds, "Again and again, each SECONDS (1), until Ctrl-C")
      ->type_name("[=SECONDS]")
      ->check(CLI::Range(0.1, 86400.0));
  verb->add_option("--pid", options.which.pid, "Only the launcher with this process id")->type_name("PID");
  verb->add_option("--name", options.which.name, "Only launchers that were started with this name")->type_name("NAME");
  verb->add_option("--list", options.which.known_list, "A list to recognise what a launcher has left behind")
      ->type_name("LIST");
  verb->add_flag("--all", options.all, "Every item, even beyond a screen");
  verb->callback([&line] { line.run = [](Output& out) { return RunStatus(options, out); }; });
}

static void AddWhy(CommandLine& line) {
  static WhyOptions options;
  CLI::App* const verb =
      line.AddVerb("why", "Why an item's program does not run: the cause, what proves it, what to do");
  CLI::Option* const name =
      verb->add_option("NAME", options.name, "An item; without it, the launcher and what is worst in it");
  verb->add_option("--list", options.list_path, "The launch list, for when no launcher runs")->type_name("LIST");
  verb->add_option("--pid", options.which.pid, "Only the launcher with this process id")->type_name("PID");
  verb->callback([&line, name] {
    line.run = [name](Output& out) {
      options.has_name = name->count() > 0;
      return RunWhy(options, out);
    };
  });
}

static void AddStop(CommandLine& line) {
  static StopOptions options;
  CLI::App* const verb = line.AddVerb("stop", "An orderly stop, refused where SIGTERM would reach strangers");
  verb->add_option("--pid", options.pid, "The launcher; needed where several run")->type_name("PID");
  verb->add_option("--timeout", options.timeout_seconds, "How long to wait for the end")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.0, 86400.0));
  verb->add_flag("--yes", options.yes, "Don't ask; overrides no refusal");
  verb->add_flag("--kill", options.kill, "Where SIGTERM is refused: SIGKILL to the launcher and each of its programs");
  verb->callback([&line] { line.run = [](Output& out) { return RunStop(options, out); }; });
}

static std::vector<CompletedVerb> VerbsToComplete(const CLI::App& app) {
  std::vector<CompletedVerb> verbs;
  for (const CLI::App* known : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (known->get_group().empty()) continue;
    CompletedVerb verb;
    verb.name = known->get_name();
    verb.summary = known->get_description();
    for (const CLI::Option* option : known->get_options()) {
      for (const std::string& name : option->get_lnames()) verb.options.push_back("--" + name);
      if (option->get_positional() && option->get_name(true) == "LIST") verb.takes = CompletedVerb::Takes::kFiles;
      if (option->get_positional() && option->get_name(true) == "NAME") verb.takes = CompletedVerb::Takes::kItems;
    }
    verbs.push_back(std::move(verb));
  }
  return verbs;
}

// Hidden: whoever installs a completion asks for it, and the completion itself.
static void AddCompletion(CommandLine& line) {
  static std::string what;
  CLI::App* const verb = line.app.add_subcommand("completion", "Completion for a shell, to be sourced")->group("");
  verb->add_option("WHAT", what, "bash, zsh, or items")->required()->check(CLI::IsMember({"bash", "zsh", "items"}));
  verb->callback([&line] {
    line.run = [&line](Output& out) {
      if (what == "items") {
        for (const std::string& name : NamesToComplete()) out.Write(name + "\n");
      } else {
        out.Write(CompletionFor(what, VerbsToComplete(line.app)));
      }
      return static_cast<int>(kAllIsWell);
    };
  });
}

// "--watch" takes its value behind an equals sign alone, or none.
static void GiveWatchItsValue(std::vector<std::string>& arguments) {
  for (std::string& argument : arguments) {
    if (argument == "--watch") argument = "--watch=1";
  }
}

// What was probably meant by a verb that does not exist, or an empty text for one that does.
static std::string ComplaintAboutVerb(const CLI::App& app, const std::string& verb) {
  std::vector<std::string> verbs;
  for (const CLI::App* known : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (known->get_name() == verb) return "";
    if (!known->get_group().empty()) verbs.push_back(known->get_name());
  }
  const std::string near = NearestOf(verb, verbs);
  std::string all;
  for (const std::string& known : verbs) all += (all.empty() ? "" : ", ") + known;
  return "there is no verb " + Quoted(verb) +
         (near.empty() ? "; the verbs are " + all : "; did you mean " + near + "?");
}

// The first files that are opened would become a closed standard stream, and the answer would go into one of them.
static void KeepStandardStreamsTaken() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor) {
    // Not for writing: what can't be written must not count as written.
    if (fcntl(descriptor, F_GETFD) < 0) (void)open("/dev/null", O_RDONLY);
  }
}

// What could still be thrown is that there is no memory: this program ends then.
// NOLINTNEXTLINE(bugprone-exception-escape)
int main(int argc, char** argv) {
  (void)signal(SIGPIPE, SIG_IGN);  // `Output` tells a reader that has gone from a full disk.
  KeepStandardStreamsTaken();
  Output out;
  CommandLine line;
  line.app.set_version_flag("--version", "launcherctl " PELLUX_VERSION);
  line.app.footer(kExitStatuses);
  line.app.require_subcommand(1);
  AddCheck(line);
  AddExplain(line);
  AddHistory(line);
  AddStatus(line);
  AddStop(line);
  AddWhy(line);
  AddCompletion(line);
  ShowNegativeNumbers(line.app);

  std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
  HideNegativeNumbers(arguments);
  GiveWatchItsValue(arguments);
  static const std::vector<std::string> kWithoutVerb = {"-h", "--help", "--version"};
  const bool names_verb = !arguments.empty() && arguments[0].substr(0, 1) != "-";
  const bool needs_none =
      !arguments.empty() && std::find(kWithoutVerb.begin(), kWithoutVerb.end(), arguments[0]) != kWithoutVerb.end();
  if (!names_verb && !needs_none) arguments.insert(arguments.begin(), "status");
  int exit_status = kAllIsWell;
  const std::string complaint = names_verb ? ComplaintAboutVerb(line.app, WithoutMark(arguments[0])) : "";
  if (!complaint.empty()) {
    out.Error(complaint);
    return kNotAnswered;
  }
  try {
    std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them from the end.
    line.app.parse(arguments);
    out.json = line.json;
    exit_status = line.run(out);
  } catch (const CLI::CallForHelp&) {
    out.Write(line.app.help());
  } catch (const CLI::CallForVersion& version) {
    out.Write(std::string(version.what()) + "\n");
  } catch (const CLI::ParseError& error) {
    out.Error(ShownText(WithoutMarks(error.what())));
    exit_status = kNotAnswered;
  } catch (const std::exception& error) {
    out.Error("this program has failed: " + ShownText(error.what()));
    exit_status = kNotAnswered;
  }
  (void)out.Flush(exit_status);
  return exit_status;
}
