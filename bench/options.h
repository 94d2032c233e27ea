// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <malloc.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

// The options that the programs of databases share.
namespace bench {

struct Options {
  std::int64_t subgroups = 1'000'000;
  int rounds = 7;
  std::filesystem::path dir = "build/bench-data";
  std::string once;    // "plain", "product": one run alone, whose memory is looked at from outside
  bool reuse = false;  // what an earlier run left
  std::string other;   // whom the product is measured against, where that must be said
};

inline constexpr const char* kOptionsHelp =
    "  --subgroups N     size of the data, 1000000\n"
    "  --rounds N        rounds of both programs in turn, 7\n"
    "  --dir FOLDER      where the data are made and kept, build/bench-data\n"
    "  --once WHICH      one run of plain or product alone, to look at its memory\n"
    "  --keep-memory 1   freed memory stays with the process, as in a server\n"
    "  --reuse 1         with the data that an earlier run left; then only what needs them\n"
    "  --other WHICH     what the product is measured against: a folder or an address\n";

// Ends the program after --help (exit status 0) and after a word it does not know (2).
inline Options ParseOptions(int argc, char** argv, const char* what, Options options = {}) {
  const auto usage = [&](std::FILE* stream, int status) {
    std::fprintf(stream, "%s: %s\n\noptions:\n%s", argv[0], what, kOptionsHelp);
    std::exit(status);
  };
  for (int i = 1; i < argc; i += 2) {
    const std::string option = argv[i];
    if (option == "--help") usage(stdout, 0);
    if (i + 1 == argc) usage(stderr, 2);
    const char* value = argv[i + 1];
    try {
      if (option == "--subgroups") {
        options.subgroups = std::stoll(value);
      } else if (option == "--rounds") {
        options.rounds = std::stoi(value);
      } else if (option == "--dir") {
        options.dir = value;
      } else if (option == "--once") {
        options.once = value;
      } else if (option == "--reuse") {
        options.reuse = true;
      } else if (option == "--other") {
        options.other = value;
      } else if (option == "--keep-memory") {
        mallopt(M_MMAP_MAX, 0);
        mallopt(M_TRIM_THRESHOLD, -1);
      } else {
        usage(stderr, 2);
      }
    } catch (const std::logic_error&) {  // no number, or one out of range
      usage(stderr, 2);
    }
  }
  return options;
}

}  // namespace bench
