#include "tool_entry.h"

#define main RunTool
#include "main.cpp"  // NOLINT(bugprone-suspicious-include)
