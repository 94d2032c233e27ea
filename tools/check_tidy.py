#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""clang-tidy over our sources: tools/check_tidy.py BUILD_FOLDER [--third] [FOLDER...]

BUILD_FOLDER has the compile commands of a clang build in unity batches, since most of the time
goes into what all sources of a batch include. Without a FOLDER all of src system engine host tests
are looked at. A batch that was clean is not looked at again until its preprocessed text or the
settings change. With --third a third of the batches: after three commits it was each one's turn.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import subprocess
import sys

TIDY = "clang-tidy-14"
ROOT = pathlib.Path(__file__).resolve().parent.parent
# Built by the preset fuzz, for Windows, or against an installation alone.
ELSEWHERE = re.compile(r"^tests/(hostile/fuzz|consumer)/|/windows(\.cpp$|/)")


def our_sources():
    listed = subprocess.run(["bash", "-c", ". tools/sources.sh; our_files '*.cpp'"], cwd=ROOT,
                            check=True, capture_output=True, text=True).stdout.split()
    return [name for name in listed if not ELSEWHERE.search(name)]


def sources_of(entry):
    """The sources that a compile command compiles: those of a batch, or the one file."""
    file = pathlib.Path(entry["directory"], entry["file"])
    if not re.fullmatch(r"unity_\d+_cxx\.cxx", file.name):
        return [file]
    return [pathlib.Path(name) for name in re.findall(r'^#include "(.*)"$', file.read_text(), re.M)]


def preprocessed(entry):
    words = shlex.split(entry["command"])
    if os.path.basename(words[0]) == "ccache":
        words = words[1:]
    words[words.index("-o") + 1] = "-"
    words[words.index("-c")] = "-E"
    return subprocess.run(words, cwd=entry["directory"], check=True, capture_output=True).stdout


def main():
    build = pathlib.Path(sys.argv[1]).resolve()
    folders = [word for word in sys.argv[2:] if word != "--third"]
    folders = folders or ["src", "system", "engine", "host", "tests"]
    wanted = {ROOT / name for name in our_sources() if name.split("/")[0] in folders}

    batches = {}
    for entry in json.loads((build / "compile_commands.json").read_text()):
        found = wanted.intersection(sources_of(entry))
        if found:
            batches[entry["file"]] = entry
            wanted -= found
    for source in sorted(wanted):
        print(f"{source.relative_to(ROOT)}: no target compiles it")

    if "--third" in sys.argv:
        count = subprocess.run(["git", "rev-list", "--count", "HEAD"], cwd=ROOT, check=True,
                               capture_output=True, text=True).stdout
        batches = {name: batches[name] for name in sorted(batches)[int(count) % 3::3]}

    # The sources of a batch are headers to clang-tidy, which looks at those that the filter names.
    command = [TIDY, "-p", str(build), "--quiet", "--warnings-as-errors=*",
               "--checks=-bugprone-suspicious-include",
               f"--header-filter=^{re.escape(str(ROOT))}/(src|system|engine|host|tests)/"]
    settings = (ROOT / ".clang-tidy").read_bytes() + " ".join(command).encode() + \
        subprocess.run([TIDY, "--version"], check=True, capture_output=True).stdout
    clean = build / "tidy"
    clean.mkdir(exist_ok=True)

    def is_clean(entry):
        key = clean / hashlib.sha256(settings + preprocessed(entry)).hexdigest()
        if key.exists():
            return True
        done = subprocess.run([*command, entry["file"]], capture_output=True, text=True)
        if done.returncode != 0:
            print(done.stdout, flush=True)
            return False
        key.touch()
        return True

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        results = list(pool.map(is_clean, batches.values()))
    return 0 if all(results) and not wanted else 1


if __name__ == "__main__":
    sys.exit(main())
