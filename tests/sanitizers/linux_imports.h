// Import slots for the functions that a winelib program has from Linux' libraries.
#pragma once

namespace testing_support {

/// The slot of `function`, a function of the C runtime; null when the program does not import it.
void** FindLinuxImportSlot(const char* function);

}  // namespace testing_support
