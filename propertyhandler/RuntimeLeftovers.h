#pragma once

#include <windows.h>

namespace qmf {

/// Gives back the handles that the compiler's runtime keeps for the calling thread until it ends, and would
/// leave behind in a thread that outlives this library, `instance`. The thread gets new ones when it needs
/// them.
void FreeThreadLeftovers(HINSTANCE instance);

/// The same of what it keeps for throwing exceptions without memory. The last thing before the library goes.
void FreeExceptionLeftovers();

}  // namespace qmf
