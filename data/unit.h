// Shared helpers of every collector: logs, the command runner and scratch
// files, bounded text operations, MAC and time texts, system metric readers.
// Collectors include this one header; each part is a module of its own.
#pragma once

#include "runner.h"
#include "unit_files.h"
#include "unit_log.h"
#include "unit_metrics.h"
#include "unit_text.h"
