// Supervises one program: starts it, waits for its end, logs that, and starts it again after a pause that grows by a
// second with every run.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "common/json/json_object.h"

class Gate;

// One item of the launch list, supervised by a thread of its own from construction to destruction. Owned by
// `g_child_map`; neither copied nor moved.
//
// The item's members, with what holds when they are missing:
//   "name"      what log lines call it ("")
//   "program"   path of the executable, handed to `execv` as it is and as argv[0] (""; nothing is executed then)
//   "argc"      how many of "args" are passed (0; a number below 0 counts as 0)
//   "args"      the arguments, keyed "0", "1", ... (a missing one is passed as "")
//   "run_once"  true: not started again after its first end (false)
//
// A program finds its signals as this process found them: the signal mask, and which signals are ignored. Only SIGTERM,
// which this process handles, has its default action always. The descriptors that this process was started with are
// open in the program too, except for 0, 1 and 2; what this process opens itself is not.
//
// A program is started again after every end, whatever its exit status; the pauses are 1, 2, 3, ... seconds, without a
// limit, and a long healthy run does not reset them.
//
// Odd on purpose:
// - A forked child whose `execv` fails does not exit but goes on as a second supervisor of the same item: it pauses,
//   forks and waits like the first, and its own child may do the same. When the process that constructed the supervisor
//   is gone, the chain ends from its last to its first, each after its pause. More arguments than any system passes, or
//   than there is memory for, count as a failed `execv`.
// - An item without a program is noticed in the forked child, which logs it and ends with exit status 0.
// - The stored process id goes to `kill` untested: a supervisor whose last fork failed sends SIGKILL to -1, every
//   process that the user may signal.
// - A "program" that is no text ends the whole process, as an uncaught exception on any thread does.
//
// Memory: when the constructor has returned, nothing is allocated in this process any more. A restart without memory
// fails in the forked child at worst: that ends on SIGABRT, which is logged as its end, or does not become the program.
//
// Threads: `pid` and `running` are plain fields, written on one thread and read on another without a lock; a fence on
// each side sees to it that a stop misses no child. Construct and destroy on one thread; SIGTERM is blocked on the
// supervising thread from its birth, so no handler for it runs there.
class ChildProc {
 public:
  // Starts supervising a copy of `supervised_item`, and returns when the first fork has been made (or the supervision
  // has ended): a supervisor that exists has a process id other than 0.
  //
  // Throws std::system_error, whose text starts with "thread constructor failed", when there can be no thread, and
  // what the JSON library throws for a "name" that is no text.
  ChildProc(std::string launcher, JsonObject supervised_item);

  // Clears `running`, sends SIGKILL to the current child and joins the thread, which takes until that child is reaped
  // and the current pause has run out.
  ~ChildProc();

  ChildProc(const ChildProc&) = delete;
  ChildProc& operator=(const ChildProc&) = delete;

  // Clears `running` and sends SIGKILL to the current child, without waiting. Returns `kill`'s result.
  int Stop();

 private:
  void Supervise(Gate& first_fork);
  const std::string& Program();
  void Execute();
  void WaitAndLogEnd();
  bool RunsOnce();

  // What `fork` returned last: 0 before the first, -1 after a failed one. Stays after the child's end.
  int32_t pid = 0;
  bool running = true;
  std::string launcher_name;
  std::string name;
  JsonObject item = JsonObject(nullptr);
  // What every start and every end asks of the item, read once: with no memory left, a restart must not fail in this
  // process. Nothing where the member is of a kind that can't be converted.
  std::optional<std::string> program;
  std::optional<bool> runs_once;
  std::shared_ptr<std::thread> thread;
};
