#!/usr/bin/env bash
# Sets up, builds and starts the main job: the demo business client lnq-demo
# on the embedded sample database (build/lnq-demo.db, created with the sample
# data on first run). Extra arguments go to lnq-demo (--user NAME skips the
# sign-in). Without a display it runs the tour under Xvfb instead: every
# screen is opened, used and captured as a PNG in build/tour (or $TOUR_DIR),
# and the paths are printed. LNQ_NOW may fix the clock.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/bootstrap.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
# The report library is loaded by name for printing and PDF output.
cmake --build build -j"$(nproc)" --target lnq-demo KxCellDll
DB=build/lnq-demo.db
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  exec build/lnq-demo --db "$DB" "$@"
fi
TOUR_DIR=${TOUR_DIR:-build/tour}
mkdir -p "$TOUR_DIR"
echo "No display: touring every screen of lnq-demo under Xvfb; screenshots in $TOUR_DIR"
exec xvfb-run -a build/lnq-demo --db "$DB" --tour "$TOUR_DIR" "$@"
