#include "common/logging/log.h"

ILog* logger = nullptr;
