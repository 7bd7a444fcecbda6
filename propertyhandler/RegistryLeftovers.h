#pragma once

namespace qmf {

/// Deletes the values that some registrars leave behind in keys shared with others when they run a script in
/// removal mode, and those shared keys that are then empty and that the scripts would have made.
void RemoveRegistryLeftovers();

}  // namespace qmf
