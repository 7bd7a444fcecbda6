# Run at every build: writes OUTPUT anew only when the commit has changed.
execute_process(COMMAND git -C ${SOURCE} describe --always --dirty
  OUTPUT_VARIABLE commit OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT commit)
  set(commit "unknown")
endif()
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT [[#include "framework/Version.h"

namespace qmf {

const char* VersionNumber() {
  return "@VERSION@";
}

const char* VersionText() {
  return "@VERSION@ (commit @commit@, @COMPILER@)";
}

}  // namespace qmf
]] @ONLY)
