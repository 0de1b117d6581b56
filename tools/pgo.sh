#!/usr/bin/env bash
# A profile-guided build of the engine: builds an instrumented engine, lets it search the bench
# positions and count perft 5, then builds again from what it recorded. The result is
# build-pgo/velumbrak. NATIVE=1 also optimises for this machine's processor.
#
#   tools/pgo.sh [build folder]     # default build-pgo
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath -m "${1:-$root/build-pgo}")
profiles=$build/pgo-profile
native=OFF
[ "${NATIVE:-0}" = 1 ] && native=ON

configure() {
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVELUMBRAK_TESTS=OFF -DVELUMBRAK_NATIVE=$native \
        -DVELUMBRAK_PGO="$1" -DVELUMBRAK_PGO_DIR="$profiles" >/dev/null
}
rm -rf "$profiles"
configure GENERATE
cmake --build "$build" -j2 --target velumbrak --clean-first >/dev/null
# A folder of its own, so that no settings or book files of the project's folder steer the training.
train=$(mktemp -d)
trap 'rm -rf "$train"' EXIT
(cd "$train" && "$build/velumbrak" bench >/dev/null && printf 'perft 5\nquit\n' | "$build/velumbrak" >/dev/null)
configure USE
cmake --build "$build" -j2 --target velumbrak --clean-first >/dev/null
echo "$build/velumbrak: $("$build/velumbrak" bench 2>&1 | tail -1)"
