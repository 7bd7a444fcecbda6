#pragma once

namespace qmf {

/// Tells a running Shell that handlers have changed, so that nobody has to sign out to see it.
void TellShellOfChange();

}  // namespace qmf
