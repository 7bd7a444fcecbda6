#include "framework/LoggingModule.h"
#include "readers/avi/AviModule.h"
#include "readers/es/AacModule.h"
#include "readers/es/AvcModule.h"
#include "readers/es/SrtModule.h"
#include "readers/mkv/MkvModule.h"
#include "readers/mp4/Mp4Module.h"

namespace qmf {
namespace {

constexpr const QMFModuleDescriptor* kModules[] = {
    &kAviModule, &kMkvModule, &kSrtModule, &kAvcModule, &kMp4Module, &kAacModule, &kLoggingModule,
};

}  // namespace

constinit const std::span<const QMFModuleDescriptor* const> kModuleList = kModules;

}  // namespace qmf
