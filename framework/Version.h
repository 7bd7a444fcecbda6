#pragma once

namespace qmf {

/// "1.2.3".
const char* VersionNumber();

/// "1.2.3 (commit 0123abc, GNU 12.2.0 for Linux)".
const char* VersionText();

}  // namespace qmf
