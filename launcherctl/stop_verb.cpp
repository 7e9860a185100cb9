#include "launcherctl/stop_verb.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <thread>

#include "launcherctl/clock_text.h"
#include "launcherctl/escape.h"
#include "launcherctl/exit_status.h"
#include "launcherctl/json_parts.h"
#include "launcherctl/launchers.h"
#include "launcherctl/status_verb.h"
#include "launcherctl/text_table.h"

static constexpr auto kBetweenLooks = std::chrono::milliseconds(100);

static bool IsSameProcess(const Process& process) {
  const auto now = ReadProcess(process.pid);
  return now && now->start_mark == process.start_mark && !now->is_zombie;
}

// --- What belongs to a launcher

struct Belonging {
  Process process;
  Leftover as_leftover;
};

// The launcher's programs, its chains and what these run; not what a program has started itself.
static std::vector<Belonging> BelongingsOf(const RunningLauncher& launcher, const ProcessTable& table) {
  std::vector<Belonging> found;
  const std::vector<PlannedItem> items = PlanOf(launcher.list);
  std::vector<const Process*> parents = {&launcher.process};
  while (!parents.empty()) {
    const Process* const parent = parents.back();
    parents.pop_back();
    for (const Process* child : table.ChildrenOf(parent->pid)) {
      if (child->is_zombie) continue;
      Belonging belonging{*child, {}};
      Leftover& leftover = belonging.as_leftover;
      leftover.pid = child->pid;
      leftover.parent = child->parent;
      leftover.launcher = launcher.process.pid;
      leftover.since_ms = child->started_ms;
      leftover.is_program = !IsSecondSupervisor(*child, launcher.process);
      if (!leftover.is_program) parents.push_back(child);
      for (const ItemKnowledge& item : launcher.known.items) {
        const bool is_items =
            item.pid == child->pid || std::find(item.chain.begin(), item.chain.end(), child->pid) != item.chain.end();
        if (is_items && item.has_name) leftover.item = item.name;
      }
      for (const PlannedItem& item : items) {
        if (!leftover.item && item.name && HasCommand(*child, item.command)) leftover.item = item.name;
      }
      found.push_back(std::move(belonging));
    }
  }
  return found;
}

static std::vector<Leftover> WhatIsLeft(const std::vector<Belonging>& belongings) {
  std::vector<Leftover> left;
  for (const Belonging& belonging : belongings) {
    const auto now = ReadProcess(belonging.process.pid);
    if (!now || now->start_mark != belonging.process.start_mark || now->is_zombie) continue;
    left.push_back(belonging.as_leftover);
    left.back().parent = now->parent;
  }
  return left;
}

// --- Saying

struct Outcome {
  int32_t pid = 0;
  StopOutlook outlook;
  bool has_ended = false;
  std::vector<Leftover> leftovers;
};

static void SayJson(const Outcome& outcome, Output& out) {
  JsonObject json = JsonObject::GetEmptyObject();
  const StopOutlook& outlook = outcome.outlook;
  json.Insert("pid", Number(outcome.pid));
  json.Insert("safe", Truth(outlook.is_safe));
  json.Insert("reason", outlook.reason.empty() ? JsonObject("null") : Text(JsonText(outlook.reason)));
  json.Insert("seconds_at_least", outlook.seconds_at_least ? Number(*outlook.seconds_at_least) : JsonObject("null"));
  json.Insert("seconds_at_most", outlook.seconds_at_most ? Number(*outlook.seconds_at_most) : JsonObject("null"));
  json.Insert("ended", Truth(outcome.has_ended));
  json.Insert("leftovers", LeftoversToJson(outcome.leftovers));
  out.WriteJson(json);
}

static int Say(const Outcome& outcome, Output& out) {
  const bool is_well = outcome.has_ended && outcome.leftovers.empty();
  if (out.json) {
    SayJson(outcome, out);
  } else if (outcome.has_ended) {
    out.Write("launcher " + std::to_string(outcome.pid) + " has ended. ");
    if (outcome.leftovers.empty()) {
      out.Write("Nothing is left.\n");
    } else {
      out.Write(outcome.leftovers.size() == 1 ? "One process is left:\n"
                                              : std::to_string(outcome.leftovers.size()) + " processes are left:\n");
      std::string pids;
      for (const Leftover& leftover : outcome.leftovers) {
        out.Write("  " + LeftoverText(leftover, NowMs()) + "\n");
        pids += " " + std::to_string(leftover.pid);
      }
      out.Write(
          "Second supervisors end by themselves, after their pauses; a program that one has started does not.\n"
          "To end them now: kill -KILL" +
          pids + "\n");
    }
  }
  return is_well ? kAllIsWell : kAnswerIsBad;
}

static std::string HowLong(const StopOutlook& outlook) {
  if (!outlook.seconds_at_least || !outlook.seconds_at_most) {
    return "how long it takes can't be told, because the log does not tell the pauses";
  }
  const std::string least = SpanText(*outlook.seconds_at_least * 1000);
  const std::string most = SpanText(*outlook.seconds_at_most * 1000);
  return "it takes " + (least == most ? least : least + " to " + most) + ", the sum of the pauses";
}

// --- Asking

static bool IsConfirmed(const std::string& question) {
  const std::string text = question + " [y/N] ";
  (void)!write(STDERR_FILENO, text.data(), text.size());
  std::string answer;
  char c = '\0';
  while (read(STDIN_FILENO, &c, 1) == 1 && c != '\n') answer += c;
  return answer == "y" || answer == "Y" || answer == "yes";
}

// --- Acting

static std::string Bar(int64_t done, int64_t all) {
  constexpr int64_t kCells = 20;
  const int64_t filled = all > 0 ? done * kCells / all : kCells;
  return "[" + std::string(static_cast<size_t>(filled), '#') + std::string(static_cast<size_t>(kCells - filled), '.') +
         "]";
}

// Waits for the launcher's end and shows how far it is. False when the time is over.
static bool Watch(const RunningLauncher& watched, const StopOutlook& outlook, const StopOptions& options, Output& out) {
  const Process& launcher = watched.process;
  const auto begin = std::chrono::steady_clock::now();
  constexpr double kMargin = 60;
  constexpr double kLongest = 86400;
  const double timeout = options.timeout_seconds   ? *options.timeout_seconds
                         : outlook.seconds_at_most ? static_cast<double>(*outlook.seconds_at_most) + kMargin
                                                   : kLongest;
  const auto& supervisors = watched.known.supervisors;
  const int64_t supervisors_at_begin =
      std::count_if(supervisors.begin(), supervisors.end(),
                    [](const SupervisorKnowledge& supervisor) { return supervisor.thread_is_there; });
  // The main thread, and what else supervises nothing.
  const int64_t other_threads = static_cast<int64_t>(launcher.threads.size()) - supervisors_at_begin;
  int64_t shown_left = -1;
  int ignored = 0;
  const auto end_line = [&] {
    if (out.is_terminal && !out.json) out.Write("\r\x1b[K");
  };
  for (;;) {
    const auto now = ReadProcess(launcher.pid);
    if (!now || now->start_mark != launcher.start_mark || now->is_zombie) break;
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - begin;
    if (passed.count() >= timeout) {
      end_line();
      return false;
    }
    const int64_t left = std::max<int64_t>(static_cast<int64_t>(now->threads.size()) - other_threads, 0);
    std::string text = Plural(left, "item") + " still to go";
    if (outlook.seconds_at_most) {
      const int64_t seconds_left =
          std::max<int64_t>(*outlook.seconds_at_most - static_cast<int64_t>(passed.count()), 0);
      text += ", at most " + SpanText(seconds_left * 1000) + " left";
    }
    if (!out.json && out.is_terminal) {
      out.Write("\r" + Bar(supervisors_at_begin - left, supervisors_at_begin) + " " + text + "\x1b[K");
    } else if (!out.json && left != shown_left) {
      out.Write(text + "\n");
    }
    shown_left = left;
    (void)out.Flush(ignored);
    std::this_thread::sleep_for(kBetweenLooks);
  }
  end_line();
  return true;
}

// A chain goes on while the launcher stops: it may have grown since it was looked at.
static void AddWhatChainsHaveStarted(std::vector<Leftover>& left) {
  const ProcessTable table = ReadProcesses();
  for (size_t i = 0; i < left.size(); ++i) {  // What is added is looked at as well.
    if (left[i].is_program) continue;
    const Process* const supervisor = table.Find(left[i].pid);
    for (const Process* child : table.ChildrenOf(left[i].pid)) {
      const bool is_listed =
          std::any_of(left.begin(), left.end(), [&](const Leftover& known) { return known.pid == child->pid; });
      if (supervisor == nullptr || child->is_zombie || is_listed) continue;
      Leftover more = left[i];
      more.pid = child->pid;
      more.parent = child->parent;
      more.is_program = !IsSecondSupervisor(*child, *supervisor);
      more.since_ms = child->started_ms;
      left.push_back(more);
    }
  }
}

// What was killed is there for a moment longer.
static std::vector<Leftover> WaitUntilGone(const std::vector<Belonging>& belongings) {
  constexpr int kMostLooks = 10;
  std::vector<Leftover> left = WhatIsLeft(belongings);
  for (int look = 0; look < kMostLooks && !left.empty(); ++look) {
    std::this_thread::sleep_for(kBetweenLooks);
    left = WhatIsLeft(belongings);
  }
  if (!left.empty()) AddWhatChainsHaveStarted(left);
  return left;
}

static int StopOrderly(const RunningLauncher& launcher, const Observation& observation, const StopOptions& options,
                       Outcome& outcome, Output& out) {
  const std::vector<Belonging> belongings = BelongingsOf(launcher, observation.table);
  if (kill(launcher.process.pid, SIGTERM) != 0) {
    out.Error("launcher " + std::to_string(launcher.process.pid) + " can't be signalled: " + strerror(errno));
    return kNotAnswered;
  }
  if (!Watch(launcher, outcome.outlook, options, out)) {
    if (out.json) SayJson(outcome, out);
    out.Error("launcher " + std::to_string(launcher.process.pid) +
              " has not ended yet, and the time to wait for it is over; its stop goes on");
    return kAnswerIsBad;
  }
  outcome.has_ended = true;
  outcome.leftovers = WaitUntilGone(belongings);
  return Say(outcome, out);
}

// The launcher is halted first, so that it starts nothing while its programs are counted, and so are its chains.
static int StopByKilling(const RunningLauncher& launcher, Outcome& outcome, Output& out) {
  if (!IsSameProcess(launcher.process) || kill(launcher.process.pid, SIGSTOP) != 0) {
    out.Error("launcher " + std::to_string(launcher.process.pid) + " can't be halted");
    return kNotAnswered;
  }
  std::vector<Belonging> belongings;
  for (int looks = 0; looks < 2; ++looks) {
    belongings = BelongingsOf(launcher, ReadProcesses());
    for (const Belonging& belonging : belongings) {
      if (!belonging.as_leftover.is_program && IsSameProcess(belonging.process)) {
        (void)kill(belonging.process.pid, SIGSTOP);  // It may have ended; then it starts nothing either.
      }
    }
  }
  (void)kill(launcher.process.pid, SIGKILL);
  for (const Belonging& belonging : belongings) {
    if (IsSameProcess(belonging.process)) (void)kill(belonging.process.pid, SIGKILL);
  }
  for (int look = 0; look < 50 && IsSameProcess(launcher.process); ++look) std::this_thread::sleep_for(kBetweenLooks);
  outcome.has_ended = !IsSameProcess(launcher.process);
  outcome.leftovers = WaitUntilGone(belongings);
  return Say(outcome, out);
}

int RunStop(const StopOptions& options, Output& out) {
  WhichLaunchers which;
  which.pid = options.pid;
  which.with_findings = false;
  Observation observation = Observe(which);
  if (observation.launchers.empty()) {
    out.Error(options.pid ? "no launcher of this user has the process id " + std::to_string(*options.pid)
                          : "no launcher of this user runs");
    return kNoLauncherRuns;
  }
  if (observation.launchers.size() > 1) {
    std::string pids;
    for (const RunningLauncher& launcher : observation.launchers) pids += " " + std::to_string(launcher.process.pid);
    out.Error("several launchers run, and --pid says which one is meant:" + pids);
    return kNotAnswered;
  }
  Outcome outcome;
  outcome.pid = observation.launchers[0].process.pid;
  outcome.outlook = StopOutlookOf(observation.launchers[0], observation.now_ms);
  const std::string who = "launcher " + std::to_string(outcome.pid);
  const bool by_killing = !outcome.outlook.is_safe && options.kill;
  if (!outcome.outlook.is_safe && !options.kill) {
    if (out.json) {
      SayJson(outcome, out);
    } else {
      out.Write(who + " is not stopped: " + ShownText(outcome.outlook.reason) + ".\n");
      const Phase phase = observation.launchers[0].known.phase;
      if (phase == Phase::kSupervising || phase == Phase::kReading) {
        out.Write("To end it and its programs with SIGKILL, one by one: launcherctl stop --kill --pid " +
                  std::to_string(outcome.pid) + "\n");
      }
    }
    return kAnswerIsBad;
  }
  if (!out.json) {
    out.Write(by_killing
                  ? who + " can't be stopped by SIGTERM: " + ShownText(outcome.outlook.reason) +
                        ".\nIt gets SIGKILL, and then each of its programs.\n"
                  : who + ": SIGTERM is safe. It stops one item after the other; " + HowLong(outcome.outlook) + ".\n");
    int ignored = 0;
    (void)out.Flush(ignored);
  }
  if (!options.yes) {
    if (isatty(STDIN_FILENO) != 1) {
      out.Error("nobody was signalled: without a terminal to ask at, --yes is needed");
      return kNotAnswered;
    }
    if (!IsConfirmed(by_killing ? "Kill it?" : "Stop it?")) {
      out.Error("nobody was signalled");
      return kNotAnswered;
    }
  }

  // Somebody may have taken a number, or a fork may have failed, while the question was open.
  const int64_t start_mark = observation.launchers[0].process.start_mark;
  which.pid = outcome.pid;
  observation = Observe(which);
  if (observation.launchers.size() != 1 || observation.launchers[0].process.start_mark != start_mark) {
    out.Error(who + " has ended by itself");
    return kNoLauncherRuns;
  }
  const RunningLauncher& launcher = observation.launchers[0];
  outcome.outlook = StopOutlookOf(launcher, observation.now_ms);
  if (by_killing) return StopByKilling(launcher, outcome, out);
  if (!outcome.outlook.is_safe) {
    if (out.json) SayJson(outcome, out);
    out.Error("nobody was signalled: " + ShownText(outcome.outlook.reason));
    return kAnswerIsBad;
  }
  return StopOrderly(launcher, observation, options, outcome, out);
}
