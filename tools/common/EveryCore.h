#pragma once
// Work split by rows over every core of the machine.

#include <algorithm>
#include <functional>
#include <thread>
#include <vector>

namespace nudora::tool {

// Runs rows(first, step) once per core, each call taking every step-th row
// from first, and returns when all are done.
inline void onEveryCore(const std::function<void(int first, int step)>& rows) {
  const int threads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
  std::vector<std::thread> workers;
  for (int t = 1; t < threads; ++t) workers.emplace_back(rows, t, threads);
  rows(0, threads);
  for (auto& w : workers) w.join();
}

}  // namespace nudora::tool
