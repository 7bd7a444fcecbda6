#include "framework/LoggingModule.h"
#include "readers/PendingModule.h"
#include "readers/avi/AviModule.h"
#include "readers/mkv/MkvModule.h"

namespace qmf {
namespace {

constexpr const QMFModuleDescriptor* kModules[] = {
    &kAviModule,        &kMkvModule,        &kPendingSrtModule, &kPendingAvcModule,
    &kPendingMp4Module, &kPendingAacModule, &kLoggingModule,
};

}  // namespace

constinit const std::span<const QMFModuleDescriptor* const> kModuleList = kModules;

}  // namespace qmf
