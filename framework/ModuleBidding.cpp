#include "framework/ModuleBidding.h"

#include <string_view>

#include "framework/ModuleTable.h"

namespace qmf {
namespace {

bool MayWin(const QMFModuleDescriptor& module) {
  const QMFModuleHeader* const header =
      module.entryPoints->GetModuleHeader != nullptr ? module.entryPoints->GetModuleHeader() : module.header;
  return header != nullptr && std::u16string_view(header->extensions) != u"logging" && header->values[0] != 0;
}

}  // namespace

QMFResult SelectModule(const char16_t* path, QMFAllocator* allocator, std::int32_t& winner, ModuleBid* bids,
                       std::size_t* bidCount) {
  winner = 0;
  std::int32_t best = 0;
  std::size_t count = 0;
  for (std::int32_t id = kFirstModuleId; id <= kLastModuleId; ++id) {
    const QMFModuleDescriptor* const module = FindModule(id);
    if (module == nullptr) continue;
    if (module->entryPoints->ProbeContainer == nullptr) return QMF_ERR_UNSUPPORTED_CONTAINER;
    std::int32_t score = 0;
    const QMFResult result = module->entryPoints->ProbeContainer(&score, path, allocator);
    if (!MayWin(*module)) continue;
    if (bids != nullptr) bids[count++] = {id, result, score};
    if (result != QMF_OK || score <= best) continue;
    best = score;
    winner = id;
  }
  if (bidCount != nullptr) *bidCount = count;
  return winner != 0 ? QMF_OK : QMF_ERR_UNSUPPORTED_CONTAINER;
}

}  // namespace qmf
