#include "encounters.h"
namespace schedules {
Encounters ExecutorEncounters() { return {}; }
Encounters SignalEncounters() { return {}; }
Encounters StorageEncounters() { return {}; }
}
