# Functions that the scripts of this folder share. Source it, do not run it. It changes to the root of the repository.
# shellcheck shell=bash

script=$(realpath "$0")
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit
export CMAKE_BUILD_PARALLEL_LEVEL=${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc)}
export CTEST_PARALLEL_LEVEL=${CTEST_PARALLEL_LEVEL:-$(nproc)}

say() { printf '== %s\n' "$*"; }
fail() { printf '%s: %s\n' "scripts/${script##*/}" "$*" >&2; exit 1; }

# The comment at the top of the calling script is its help.
help() { sed -n '2,/^[^#]/{/^#/!q;s/^# \{0,1\}//p}' "$script"; }

# quietly LOG COMMAND...   on a terminal, shows the output of the command; otherwise writes it to LOG, and prints LOG if the command fails
quietly() {
   local log=$1
   shift
   if [ -t 1 ]; then
      "$@"
      return
   fi
   mkdir -p "$(dirname "$log")"
   "$@" > "$log" 2>&1 || { cat "$log"; fail "failed: $*"; }
}

# configure PRESET [CMAKE-ARGUMENT...]
configure() {
   local preset=$1
   shift
   mkdir -p "build/$preset"
   cmake --preset "$preset" "$@" > "build/$preset/configure.log" 2>&1 || { cat "build/$preset/configure.log"; fail "cannot configure $preset"; }
}

# build PRESET [TARGET...]
build() {
   local preset=$1
   shift
   say "Building build/$preset"
   quietly "build/$preset/build.log" cmake --build --preset "$preset" ${1+--target "$@"}
}
