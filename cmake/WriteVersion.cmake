# Run at every build: writes OUTPUT anew only when the commit has changed.
execute_process(COMMAND git -C ${SOURCE} describe --always --dirty
  OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT commit)
  set(commit "unknown")
endif()
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT [[#include "tools/qmfinfo/Version.h"

namespace qmfinfo {

const char* VersionText() {
  return "qmfinfo @VERSION@ (commit @commit@, @COMPILER@)";
}

}  // namespace qmfinfo
]] @ONLY)
