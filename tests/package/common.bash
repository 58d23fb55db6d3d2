# What the checks of this folder share.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
CXX=${CXX:-c++}
CMAKE=${CMAKE:-cmake}
warnings=(-std=c++17 -Wall -Wextra -Wconversion -Wshadow -Wpedantic -Werror)

fail() {
  echo "$*" >&2
  exit 1
}

# skip WHY: ctest reports the test as skipped.
skip() {
  echo "skipped: $*" >&2
  exit 77
}

# need PROGRAM...: without them the test is skipped.
need() {
  local program
  for program; do
    command -v "$program" >/dev/null || skip "$program is not installed"
  done
}

# pkg_config_dir PREFIX: where its .pc files are, whatever the library directory.
pkg_config_dir() { dirname "$(find "$1" -name vmr.pc)"; }

# soversion_of VERSION: what the soname and the package's name carry of it. Until
# 1.0 a minor version may change the interface, so it counts: 0.1.
soversion_of() {
  if [[ $1 == 0.* ]]; then echo "${1%.*}"; else echo "${1%%.*}"; fi
}

# run_consumer PROGRAM: records with it in a fresh folder, which it then reads.
run_consumer() {
  local folder result=0
  folder=$(mktemp -d)
  "$1" "$folder/drive" >"$folder/text" || result=$?
  grep -aqF '[Tag=siren, TagNo=0x36, State=on]' "$folder/text" || result=1
  ((result == 0)) || cat "$folder/text" >&2
  rm -rf "$folder"
  ((result == 0)) || fail "$1 failed"
}
