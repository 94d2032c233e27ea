// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "engine/Embedded.h"
#include "engine/PostgreSQL.h"
#include "engine/Webhooks.h"
#include "host/cli/Command.h"
#include "system/system.h"

namespace {

std::size_t TerminalColumns() {
  long columns = 0;
  if (const char* text = std::getenv("COLUMNS")) columns = std::strtol(text, nullptr, 10);
  if (columns <= 0) columns = orvspc::system::TerminalColumns();
  if (columns <= 0) columns = 80;
  return static_cast<std::size_t>(std::clamp(columns, 40L, 200L));
}

}  // namespace

int main(int argc, char** argv) {
  using orvspc::system::Stream;
  orvspc::system::PrepareConsole();
  orvspc::cli::Console console{std::cout, std::cerr, orvspc::system::IsTerminal(Stream::Out),
                               orvspc::system::IsTerminal(Stream::Error), TerminalColumns()};
  try {
    orvspc::InstallEmbedded();
#ifdef ORVSPC_POSTGRESQL
    orvspc::AddPostgreSQL();
#endif
#ifdef ORVSPC_WEBHOOKS
    orvspc::AddWebhooks();
#endif
    return orvspc::cli::RunProgram(orvspc::system::CommandLine(argc, argv), console);
  } catch (const std::exception& failure) {
    std::cerr << "orvspc: " << failure.what() << "\n";
    return 1;
  }
}
