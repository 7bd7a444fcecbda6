#include "readers/mkv/MkvModule.h"

#include "framework/FileReader.h"
#include "framework/ModuleAdapter.h"
#include "framework/QueryAnswer.h"

namespace qmf {
namespace {

class MkvReader {
 public:
  explicit MkvReader(QMFAllocator* memory) : m_memory(memory) {}
  static QMFResult Probe(std::int32_t& score, const char16_t* path, QMFAllocator* memory);
  QMFResult Open(const char16_t* path) { return FileReader::Open(path, m_memory, m_file); }

 private:
  QMFAllocator* const m_memory;
  std::shared_ptr<FileReader> m_file;
};

QMFResult MkvReader::Probe(std::int32_t&, const char16_t*, QMFAllocator*) {
  return QMF_OK;
}

constexpr QMFModuleHeader kHeader = {{1, 0, 1, 0, 1, 0}, u".mkv", u"MKV read module."};
constexpr QMFModuleEntryPoints kEntryPoints =
    ModuleAdapter<MkvReader>::EntryPoints([] { return &kHeader; }, {5, 21, 22, 23, 24, 25});

}  // namespace

constexpr QMFModuleDescriptor kMkvModule = {kModuleMkv, &kHeader, &kEntryPoints};

}  // namespace qmf
