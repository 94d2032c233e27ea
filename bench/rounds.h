// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <functional>
#include <vector>

// Two programs for one job, run in turn.
namespace bench {

inline double Milliseconds(const std::function<void()>& job) {
  const auto start = std::chrono::steady_clock::now();
  job();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
      .count();
}

inline double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

inline double Least(const std::vector<double>& values) {
  return *std::min_element(values.begin(), values.end());
}

struct Pair {
  std::vector<double> plain, product, ratio;
  std::vector<double> plain_processor, product_processor;  // a busy machine changes them less

  void Round(const std::function<void()>& plain_job, const std::function<void()>& product_job) {
    const auto start = std::clock();
    plain.push_back(Milliseconds(plain_job));
    const auto middle = std::clock();
    product.push_back(Milliseconds(product_job));
    ratio.push_back(product.back() / plain.back());
    plain_processor.push_back(static_cast<double>(middle - start));
    product_processor.push_back(static_cast<double>(std::clock() - middle));
  }
  // Medians of the times and of their ratio, its range, the ratio of the least processor times.
  void Print(const char* name, const char* one = "plain", const char* other = "product") const {
    std::printf("%-34s %s %9.2f ms   %s %9.2f ms   ratio %.3f (%.3f..%.3f)   processor %.3f\n",
                name, one, Median(plain), other, Median(product), Median(ratio), Least(ratio),
                *std::max_element(ratio.begin(), ratio.end()),
                Least(product_processor) / Least(plain_processor));
    std::fflush(stdout);
  }
};

inline void RemoveDatabase(const std::filesystem::path& path) {
  for (const char* tail : {"", "-wal", "-shm"}) std::filesystem::remove(path.string() + tail);
}

}  // namespace bench
