// The process-wide state of the daemon, its set-up and its one orderly end.
//
// The globals are guarded by no lock, on purpose: the map is filled on the main thread, and emptied by the signal
// handler on the same thread, which SIGTERM interrupts only between two items and in its wait (sigterm_mask.h). A
// SIGTERM during start-up stops what has been started by then and wakes nobody; the next one ends the process.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "launcher/child_proc.h"

// Every supervisor, keyed by its item's name. Destroyed last of the three at exit, with whatever supervisors are left.
extern std::unordered_map<std::string, std::shared_ptr<ChildProc>> g_child_map;

// Held by `main` around its wait, and by nobody else.
extern std::mutex g_process_mutex;

// `main` waits on it once, without a predicate; `sigterm_handler` notifies it.
extern std::condition_variable g_process_condition;

// Closes the descriptors 0, 1 and 2 and installs `sigterm_handler`. Nothing is opened in their place: the next files
// that the process opens get these numbers.
void InitDaemon();

// Handles SIGTERM (any other signal is ignored): empties `g_child_map`, one supervisor after another, which kills each
// child and joins each thread and so takes the sum of their current pauses, then wakes `main`.
//
// None of that is async-signal-safe. It works because SIGTERM is blocked on every thread but the main one, and on that
// one as well from the first item on, except between two items and while it waits: it holds no lock then, and is not in
// the middle of an allocation. Before the first item the map is empty, and emptying it frees nothing.
//
// It is the daemon's only way to end; a second SIGTERM finds an empty map and only notifies.
void sigterm_handler(int signal_number);
