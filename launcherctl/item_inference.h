// What one item does, told by its supervisor: a step of the inference of model.h.
#pragma once

#include <cstdint>
#include <optional>

#include "launcherctl/model.h"
#include "launcherctl/supervisors.h"

// Fills in what `item`, whose plan is known already, does. `launcher` has its phase and what is known of the log.
void InferItem(const LauncherFacts& facts, const LauncherRecords& records, const LauncherKnowledge& launcher,
               const Supervisor& supervisor, ItemKnowledge& item);

// Judges what was filled in: whether it is a crash loop, and whether it is trouble. Leaves the last runs only.
void JudgeItem(ItemKnowledge& item, int64_t now_ms);

// The number of the present run, or of the one that has ended last during a pause; nothing where the log is cut.
std::optional<int64_t> PresentRun(const Supervisor& supervisor, const ItemKnowledge& item);
