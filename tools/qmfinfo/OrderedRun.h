#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace qmfinfo {

/// Works on paths with several threads and delivers the results in the order of the paths. Results wait for
/// their turn, but only so many that memory stays the same however long the batch is.
template <class Result>
class OrderedRun {
 public:
  /// `next` (nothing at the end) and `deliver` are each called by one thread at a time, `work` by several.
  std::function<std::optional<std::u16string>()> next;
  std::function<Result(const std::u16string&)> work;
  std::function<void(const Result&)> deliver;

  /// Returns when everything is delivered. Rethrows what the functions throw.
  void Run(unsigned jobs) {
    m_mostWaiting = std::uint64_t{jobs} * 4;
    std::vector<std::jthread> threads;
    for (unsigned i = 1; i < jobs; ++i) threads.emplace_back([this] { WorkGuarded(); });
    WorkGuarded();
    threads.clear();
    if (m_failure) std::rethrow_exception(m_failure);
  }

 private:
  struct Item {
    std::uint64_t number;
    std::u16string path;
  };

  void WorkGuarded() noexcept {
    try {
      while (const std::optional<Item> item = Take()) Deliver(item->number, work(item->path));
    } catch (...) {
      const std::lock_guard lock(m_resultsMutex);
      m_failure = std::current_exception();
      m_moved.notify_all();
    }
  }

  std::optional<Item> Take() {
    const std::lock_guard lock(m_pathsMutex);
    if (HasFailed()) return std::nullopt;
    std::optional<std::u16string> path = next();
    if (!path) return std::nullopt;
    return Item{m_taken++, std::move(*path)};
  }

  bool HasFailed() {
    const std::lock_guard lock(m_resultsMutex);
    return m_failure != nullptr;
  }

  void Deliver(std::uint64_t number, Result result) {
    std::unique_lock lock(m_resultsMutex);
    m_moved.wait(lock, [&] { return number < m_delivered + m_mostWaiting || m_failure; });
    m_waiting.emplace(number, std::move(result));
    for (auto first = m_waiting.begin(); first != m_waiting.end() && first->first == m_delivered;
         first = m_waiting.erase(first)) {
      deliver(first->second);
      ++m_delivered;
    }
    m_moved.notify_all();
  }

  std::mutex m_pathsMutex;
  std::uint64_t m_taken = 0;
  std::mutex m_resultsMutex;
  std::condition_variable m_moved;
  std::uint64_t m_mostWaiting = 0;
  std::uint64_t m_delivered = 0;
  std::map<std::uint64_t, Result> m_waiting;
  std::exception_ptr m_failure;
};

}  // namespace qmfinfo
