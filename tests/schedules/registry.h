// A stand-in for the registry: one key with one value, as many handles and events as are asked for.
//
// As the platform documents it: a registration is for one change, and sets its event also when the
// key is deleted or its handle closed; a deleted key stays so, and to create it makes another one.
// Stricter: no handle is used after it was closed, nor closed while a call uses it, and in the end
// all are closed.
#pragma once

namespace schedules {

/// Changes something in the key.
void ChangeKey();
void DeleteKey();
/// From now on no key is opened or created.
void FailKeys();

void ResetRegistry();
/// What must hold in the end: keys and events are closed.
void CheckRegistry();

}  // namespace schedules
