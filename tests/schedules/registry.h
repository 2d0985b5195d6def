// A stand-in for the registry: one key with one value, and any number of handles and events.
//
// As the platform documents it: a registration is for one change, and sets its event also when the
// key is deleted or its handle is closed. A deleted key stays deleted: creating it makes another
// key. Stricter than the platform: a handle must not be used after it was closed, nor closed while
// a call uses it, and at the end of a run all handles must be closed.
#pragma once

namespace schedules {

/// Changes something in the key.
void ChangeKey();
void DeleteKey();
/// From now on no key is opened or created.
void FailKeys();

void ResetRegistry();
/// Checks at the end of a run that all keys and events are closed.
void CheckRegistry();

}  // namespace schedules
