#!/usr/bin/env bash
# Installs the Debian 12 packages the build, the tests and the demo need.
# Idempotent and quiet when everything is already there.
set -euo pipefail

PACKAGES=(
  cmake ninja-build g++ pkg-config ccache
  qt6-base-dev libqt6sql6-sqlite libqt6sql6-odbc
  libsqlite3-dev sqlite3
  unixodbc-dev tdsodbc
  libxlsxwriter-dev
  libbenchmark-dev
  clang libclang-rt-14-dev libfuzzer-14-dev
  qt6-tools-dev qt6-tools-dev-tools libqt6opengl6-dev
  libfreexl-dev libminizip-dev
  fonts-noto-cjk
  xvfb xauth
)

missing=()
for p in "${PACKAGES[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "bootstrap: installing ${missing[*]}"
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
