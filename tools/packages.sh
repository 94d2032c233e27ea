# SPDX-License-Identifier: Apache-2.0
# Sourced by demo.sh, test.sh and bench.sh: finds what is missing on a Debian 12 and installs it when root.

# What to look for, and the package that brings it. A kind is one of
#   command  a program on the path
#   header   a header that g++ finds
#   runtime  a sanitizer runtime of clang
#   python   a module of python3
#   file     a path
build_needs="
command g++           g++
command cmake         cmake
command ninja         ninja-build
command pkg-config    pkg-config
header  sqlite3.h     libsqlite3-dev
header  openssl/evp.h libssl-dev
header  boost/math/distributions.hpp libboost-dev
header  fmt/format.h  libfmt-dev
header  nlohmann/json.hpp nlohmann-json3-dev
file    /usr/include/postgresql/libpq-fe.h libpq-dev
header  curl/curl.h   libcurl4-openssl-dev
"
test_needs="
command ccache        ccache
command clang++       clang
command ld.lld        lld
command clang-tidy-14    clang-tidy-14
command clang-format-14  clang-format-14
command python3       python3
command openssl       openssl
header  gtest/gtest.h libgtest-dev
header  expat.h       libexpat1-dev
file    /usr/lib/postgresql/15/bin/initdb postgresql-15
runtime asan          libclang-rt-14-dev
python  mpmath        python3-mpmath
"
bench_needs="
header  benchmark/benchmark.h libbenchmark-dev
header  pugixml.hpp   libpugixml-dev
command taskset       util-linux
"
# What ./bench.sh measures studies against.
peer_needs="
file    /usr/lib/python3/dist-packages/scipy python3-scipy
command Rscript       r-base-core
file    /usr/lib/R/site-library/fitdistrplus r-cran-fitdistrplus
"
# For ./test.sh --windows. Of npm a package with the source of SQLite is taken.
windows_needs="
command x86_64-w64-mingw32-g++-posix g++-mingw-w64-x86-64-posix
command i686-w64-mingw32-g++-posix   g++-mingw-w64-i686-posix
command x86_64-w64-mingw32-widl      mingw-w64-tools
command wine                         wine
command wineboot                     wine
command wineserver                   wine
file    /usr/lib/wine/wine64         wine64
command npm                          npm
"

is_there() {  # kind name
  case $1 in
    command) command -v "$2" >/dev/null ;;
    file) [ -e "$2" ] ;;
    header) echo "#include <$2>" | g++ -x c++ -M - >/dev/null 2>&1 ;;
    runtime) compgen -G "$(clang++ -print-resource-dir 2>/dev/null)/lib/linux/libclang_rt.$2-*.a" >/dev/null ;;
    python) python3 -c "import $2" 2>/dev/null ;;
  esac
}

missing_packages() {  # needs
  local kind name package
  while read -r kind name package; do
    if [ -n "$kind" ] && ! is_there "$kind" "$name"; then echo "$package"; fi
  done <<<"$1" | sort -u
}

# Installs what of the needs is missing, or says what to install and fails. With everything there
# it asks no package manager. Exit status 2: the package manager refused.
require() {  # needs
  local missing
  missing=$(missing_packages "$1" | xargs)
  [ -z "$missing" ] && return 0
  if ! command -v apt-get >/dev/null; then
    echo "Missing here, by the names of Debian 12: $missing" >&2
    return 1
  fi
  if [ "$(id -u)" -ne 0 ]; then
    echo "Please install first:  sudo apt-get install --no-install-recommends $missing" >&2
    return 1
  fi
  echo "Installing: $missing"
  # Of the server the tests need its programs, not the one that the package would set up and start.
  if [[ $missing = *postgresql-* && ! -e /etc/postgresql-common/createcluster.conf ]]; then
    mkdir -p /etc/postgresql-common
    echo "create_main_cluster = false" >/etc/postgresql-common/createcluster.conf
  fi
  # shellcheck disable=SC2086  # a list of words
  if ! { apt-get -qq update &&
         DEBIAN_FRONTEND=noninteractive apt-get -qq -y -o Dpkg::Options::=--force-confold \
             install --no-install-recommends $missing; } \
       >/dev/null </dev/null; then
    echo "Could not install: $missing" >&2
    return 2
  fi
  missing=$(missing_packages "$1" | xargs)
  if [ -n "$missing" ]; then
    echo "Still missing after the installation: $missing" >&2
    return 1
  fi
}
