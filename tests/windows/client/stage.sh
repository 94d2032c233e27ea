# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# What the stages of run.sh that use the registered component share. What is registered when a stage
# ends is unregistered.

on_wine() {  # SECONDS PROGRAM ARGUMENT...
  local seconds=$1
  shift
  timeout "$seconds" wine "$@"
}

windows_path() { timeout 30 winepath -w "$1"; }

registered=

regsvr() {  # FOLDER [/u]
  local library
  for library in orvEngine orvSPCAnalysis6; do
    on_wine 60 regsvr32.exe /s ${2:+"$2"} "$(windows_path "$1/$library.dll")"
  done
}

register() {  # FOLDER
  regsvr "$1"
  registered=$1
}

unregister() {  # FOLDER
  regsvr "$1" /u
  registered=
}

clean_up() {
  if [ -n "$registered" ]; then unregister "$registered"; fi
}
trap clean_up EXIT

copy_samples() {  # FROM TO
  mkdir -p "$2"
  cp "$1"/{sample,damaged}.db "$1"/*.csv "$2"
}

# All DLLs but one closed library, and another one without its functions.
incomplete_folder() {  # FOLDER
  mkdir -p "$1"
  cp "$ORVSPC_WINDOWS"/*.dll "$1"
  rm "$1/orwCapAna6.dll"
  cp "$ORVSPC_WINDOWS/empty_library.dll" "$1/orwPareto6.dll"
}
