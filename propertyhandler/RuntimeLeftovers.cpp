#include "propertyhandler/RuntimeLeftovers.h"

// The runtime's own, which no header declares.
namespace __gnu_cxx {
void __freeres();  // NOLINT(bugprone-reserved-identifier)
}
extern "C" const IMAGE_TLS_DIRECTORY _tls_used;  // NOLINT(bugprone-reserved-identifier)

namespace qmf {

void FreeThreadLeftovers(HINSTANCE instance) {
  const auto* callback = reinterpret_cast<const PIMAGE_TLS_CALLBACK*>(_tls_used.AddressOfCallBacks);
  for (; callback != nullptr && *callback != nullptr; ++callback) {
    (*callback)(instance, DLL_THREAD_DETACH, nullptr);
  }
}

void FreeExceptionLeftovers() {
  __gnu_cxx::__freeres();
}

}  // namespace qmf
