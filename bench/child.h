// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

// A program run from its start to its end, and what the system says that it used.
namespace bench {

struct Use {
  double processor = 0.0;  // seconds, of all threads
  double peak = 0.0;       // bytes of memory
};

inline double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Throws when the program cannot be run or fails. What it prints goes to a file.
inline Use RunChild(std::vector<std::string> command, const std::string& out = "/dev/null") {
  std::vector<char*> words;
  for (auto& word : command) words.push_back(word.data());
  words.push_back(nullptr);
  const auto child = fork();
  if (child == 0) {
    const int file = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (file >= 0) dup2(file, STDOUT_FILENO);
    execvp(words[0], words.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
    throw std::runtime_error(command[0] + " failed");
  }
  return {Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
          static_cast<double>(usage.ru_maxrss) * 1024.0};
}

// The program orvspc of the same build.
inline std::string Program() {
  return (std::filesystem::read_symlink("/proc/self/exe").parent_path() / "orvspc").string();
}

}  // namespace bench
