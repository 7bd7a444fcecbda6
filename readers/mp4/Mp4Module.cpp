#include "readers/mp4/Mp4Module.h"

#include "framework/ModuleAdapter.h"
#include "readers/mp4/Mp4Demuxer.h"

namespace qmf {
namespace {

constexpr QMFModuleHeader kHeader = {
    {1, 0, 1, 0, 1, 0}, u".mp4, .mov", u"MP4 read module. Supports AVC and AAC in mp4."};
constexpr QMFModuleEntryPoints kEntryPoints =
    ModuleAdapter<CMP4Demuxer>::EntryPoints([] { return &kHeader; }, {5});

}  // namespace

constexpr QMFModuleDescriptor kMp4Module = {kModuleMp4, &kHeader, &kEntryPoints};

}  // namespace qmf
