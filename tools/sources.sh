# SPDX-License-Identifier: Apache-2.0
# Sourced by the checks: lists our own files, with or without git metadata.

# our_files PATTERN...: files of the tree whose name matches one of the shell patterns.
our_files() {
  local file pattern
  # Asked by a file, since a plain copy may lie inside another repository that ignores it.
  if git ls-files --error-unmatch CMakeLists.txt >/dev/null 2>&1; then
    git ls-files --cached --others --exclude-standard
  else
    find . \( -name build -o -name .git \) -prune -o -type f -printf '%P\n'
  fi | sort | while read -r file; do
    [ -f "$file" ] || continue
    for pattern in "$@"; do
      # shellcheck disable=SC2053  # the right side is a pattern
      if [[ ${file##*/} == $pattern ]]; then
        echo "$file"
        break
      fi
    done
  done
}
