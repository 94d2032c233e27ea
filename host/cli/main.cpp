// SPDX-License-Identifier: Apache-2.0
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "host/cli/Command.h"

namespace {

std::size_t TerminalColumns() {
  long columns = 0;
  if (const char* text = std::getenv("COLUMNS")) columns = std::strtol(text, nullptr, 10);
  winsize size{};
  if (columns <= 0 && isatty(STDOUT_FILENO) && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
    columns = size.ws_col;
  if (columns <= 0) columns = 80;
  return static_cast<std::size_t>(std::clamp(columns, 40L, 200L));
}

}  // namespace

int main(int argc, char** argv) {
  orvspc::cli::Console console{std::cout, std::cerr, isatty(STDOUT_FILENO) != 0,
                               isatty(STDERR_FILENO) != 0, TerminalColumns()};
  try {
    orvspc::InstallEmbedded();
    return orvspc::cli::RunProgram(std::vector<std::string>(argv + 1, argv + argc), console);
  } catch (const std::exception& failure) {
    std::cerr << "orvspc: " << failure.what() << "\n";
    return 1;
  }
}
