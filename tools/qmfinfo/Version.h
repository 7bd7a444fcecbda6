#pragma once

namespace qmfinfo {

/// "qmfinfo 1.2.3 (commit 0123abc, GNU 12.2.0 for Linux)".
const char* VersionText();

}  // namespace qmfinfo
