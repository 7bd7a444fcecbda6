#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace qmfinfo {

/// Works on paths with several threads and delivers the results in the order of the paths. Results wait for
/// their turn, but only so many that memory stays the same however long the batch is.
template <class Result>
class OrderedRun {
 public:
  /// `next` (nothing at the end) is called by the thread that runs, so that a signal that it gets ends its
  /// waiting; `work` by several threads at once; `deliver` by one at a time.
  std::function<std::optional<std::u16string>()> next;
  std::function<Result(const std::u16string&)> work;
  std::function<void(const Result&)> deliver;

  /// Returns when everything is delivered. Rethrows what the functions throw.
  void Run(unsigned jobs) {
    std::vector<std::jthread> threads;
    Guarded([&] {
      Start(jobs, threads);
      Feed(std::uint64_t{jobs} * 4);
    });
    Change([&] { m_ended = true; });
    threads.clear();
    if (m_failure) std::rethrow_exception(m_failure);
  }

 private:
  struct Item {
    std::uint64_t number;
    std::u16string path;
  };

  template <class Action>
  void Change(Action&& action) {
    const std::lock_guard lock(m_mutex);
    action();
    m_changed.notify_all();
  }

  template <class Action>
  void Guarded(Action&& action) noexcept {
    try {
      action();
    } catch (...) {
      Change([&] { m_failure = std::current_exception(); });
    }
  }

  // Where the system has no room for all threads, those that began do the work.
  void Start(unsigned jobs, std::vector<std::jthread>& threads) {
    for (unsigned i = 0; i < jobs; ++i) {
      try {
        threads.emplace_back([this] { Guarded([this] { WorkOn(); }); });
      } catch (const std::system_error&) {
        if (threads.empty()) throw;
        return;
      }
    }
  }

  void Feed(std::uint64_t mostAhead) {
    for (std::uint64_t number = 0; std::optional<std::u16string> path = next(); ++number) {
      std::unique_lock lock(m_mutex);
      m_changed.wait(lock, [&] { return number < m_delivered + mostAhead || m_failure; });
      if (m_failure) return;
      m_items.push_back({number, std::move(*path)});
      m_changed.notify_all();
    }
  }

  std::optional<Item> Take() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return !m_items.empty() || m_ended || m_failure; });
    if (m_items.empty() || m_failure) return std::nullopt;
    Item item = std::move(m_items.front());
    m_items.pop_front();
    return item;
  }

  void WorkOn() {
    while (const std::optional<Item> item = Take()) {
      Result result = work(item->path);
      Change([&] { Deliver(item->number, std::move(result)); });
    }
  }

  void Deliver(std::uint64_t number, Result result) {
    m_waiting.emplace(number, std::move(result));
    for (auto first = m_waiting.begin(); first != m_waiting.end() && first->first == m_delivered;
         first = m_waiting.erase(first)) {
      deliver(first->second);
      ++m_delivered;
    }
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::deque<Item> m_items;
  bool m_ended = false;
  std::uint64_t m_delivered = 0;
  std::map<std::uint64_t, Result> m_waiting;
  std::exception_ptr m_failure;
};

}  // namespace qmfinfo
