#include "tests/readers/avi/OpenedAvi.h"

#include <utility>

namespace qmf::test {
namespace {

constexpr char16_t kName[] = u"test.avi";

}  // namespace

OpenedAvi::OpenedAvi(Bytes bytes, const QMFModuleEntryPoints& module, QMFAllocator* memory)
    : m_bytes(std::move(bytes)), m_module(module) {
  const std::span view(reinterpret_cast<const std::uint8_t*>(m_bytes.data()), m_bytes.size());
  const SharedFileScope named(kName, std::make_shared<FileReader>(std::make_shared<MemoryFileSource>(view)));
  m_opened = m_module.OpenContainer(&m_handle, kName, memory);
}

OpenedAvi::OpenedAvi(const std::u16string& path) : m_module(*kAviModule.entryPoints) {
  m_opened = m_module.OpenContainer(&m_handle, path.c_str(), nullptr);
}

OpenedAvi::~OpenedAvi() {
  if (m_handle != nullptr) (void)m_module.CloseContainer(m_handle);
}

std::optional<std::uint64_t> OpenedAvi::Number(std::uint32_t qid, std::uint32_t index, std::uint64_t value) {
  QMFQueryData data;
  data.value = value;
  if (m_module.GetInfo(m_handle, qid, &data, index) != QMF_OK || data.type != ValueKindOf(qid)) return {};
  return data.value;
}

QMFResult OpenedAvi::Result(std::uint32_t qid, std::uint32_t index, std::uint64_t value) {
  QMFQueryData data;
  data.value = value;
  return m_module.GetInfo(m_handle, qid, &data, index);
}

std::optional<std::u16string> OpenedAvi::Text(std::uint32_t qid) {
  char16_t text[256];
  QMFQueryData data;
  data.size = sizeof(text);
  data.pointer = text;
  if (m_module.GetInfo(m_handle, qid, &data, 0) != QMF_OK) return u"(failed)";
  if (data.size == 0) return {};
  return std::u16string(text, data.size / sizeof(char16_t) - 1);
}

}  // namespace qmf::test
