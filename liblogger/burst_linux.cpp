#include "liblogger/burst.h"

// The storage model is one that is part of each thread from its start; the others may be allocated at first use.
static thread_local Burst t_burst __attribute__((tls_model("initial-exec")));

Burst* CurrentBurst() { return &t_burst; }
