#!/usr/bin/env bash
# A soak under real hosts: many short games against peer engines from Debian's packages, over
# xboard with thinking on the opponent's time and over UCI with the opening book (learning into it),
# then very fast games. Counts crashes, illegal moves and losses on time of the engine, and samples
# its resident memory to see that it does not grow. Not part of CI: the default run takes hours.
#
#   tools/soak.sh [games] [fast-games]   # default 1000 games at 2s+0.02s, then 200 at 1s+0.01s
#
# The games split into four equal parts: xboard against Phalanx and against Fairy-Max, pondering,
# from 2moves_v1.epd; UCI against Toga II and against Glaurung from the initial position with
# Book.vbk (built from TCEC games) in the engine's folder. The fast games go half to Stockfish at a
# low Skill Level over UCI, half to Phalanx over xboard. SOAK_DIR (default /tmp/velumbrak-soak)
# receives everything; CONCURRENCY (default 1) sets how many games run at once.
set -euo pipefail

games=${1:-1000}
fast=${2:-200}
root=$(cd "$(dirname "$0")/.." && pwd)
shared=${SHARED_DIR:-$root/../shared}
work=${SOAK_DIR:-/tmp/velumbrak-soak}
openings=$shared/testdata/openings/2moves_v1.epd

missing=()
for pkg in phalanx fairymax toga2 glaurung stockfish; do [ -x /usr/games/$pkg ] || missing+=("$pkg"); done
[ ${#missing[@]} -eq 0 ] || { apt-get update && apt-get install -y "${missing[@]}"; }

mkdir -p "$work"
. "$root/tools/runner.sh"
install_runner "$work" "$shared"
ponder_runner "$work"

cmake -S "$root" -B "$root/build" >/dev/null && cmake --build "$root/build" -j2 --target velumbrak velumbrak-book >/dev/null
rm -rf "$work/plain" "$work/book" && mkdir -p "$work/plain" "$work/book"
cp "$root/build/velumbrak" "$work/plain/velumbrak"
cp "$root/build/velumbrak" "$work/book/velumbrak"
"$root/build/velumbrak-book" -plies 16 -min 2 -o "$work/book/Book.vbk" "$shared"/testdata/pgn/TCEC_Season_1*.pgn >/dev/null

# Resident memory of every engine process, every 10 seconds: "seconds pid kB".
start=$(date +%s)
(while sleep 10; do
    for pid in $(pgrep -f "^$work/(plain|book)/velumbrak" || true); do
        echo "$(($(date +%s) - start)) $pid $(awk '/^VmRSS/ {print $2}' /proc/$pid/status 2>/dev/null)"
    done
done) >"$work/rss.log" &
sampler=$!
trap 'kill $sampler 2>/dev/null' EXIT

quarter=$(((games + 3) / 4))
half=$(((fast + 1) / 2))
run() { # name, runner folder, games, time control, then the runner's arguments
    local name=$1 runner=$2 n=$3 tc=$4
    shift 4
    rm -f "$work/$name.pgn"
    (cd "$runner" && node match.mjs "$@" --games "$n" --tc "$tc" --concurrency "${CONCURRENCY:-1}" \
        --pgn "$work/$name.pgn" --log "$work/$name.log") >"$work/$name.out" 2>&1 || true
    grep -v '^Finished game' "$work/$name.out" | tail -4
}
xboard=(--engine "cmd=$work/plain/velumbrak" "dir=$work/plain" name=Velumbrak proto=xboard)
uci=(--engine "cmd=$work/book/velumbrak" "dir=$work/book" name=Velumbrak proto=uci)
phalanx=(--engine "cmd=/usr/games/phalanx -l- -b-" proto=xboard name=Phalanx)
fairymax=(--engine cmd=/usr/games/fairymax proto=xboard name=Fairy-Max)
toga=(--engine cmd=/usr/games/toga2 option.OwnBook=false option.Hash=16 name=Toga)
glaurung=(--engine cmd=/usr/games/glaurung option.Threads=1 option.Hash=16 name=Glaurung)
stockfish=(--engine cmd=/usr/games/stockfish "option.Skill Level=5" option.Threads=1 option.Hash=16 name=Stockfish)
from=(--openings "$openings" --order random --seed 13)

run ponder-phalanx "$work/runner-ponder" $quarter 2+0.02 "${xboard[@]}" "${phalanx[@]}" "${from[@]}"
run ponder-fairymax "$work/runner-ponder" $quarter 2+0.02 "${xboard[@]}" "${fairymax[@]}" "${from[@]}"
run book-toga "$work/runner" $quarter 2+0.02 "${uci[@]}" "${toga[@]}"
run book-glaurung "$work/runner" $quarter 2+0.02 "${uci[@]}" "${glaurung[@]}"
run fast-stockfish "$work/runner" $half 1+0.01 "${uci[@]}" "${stockfish[@]}" "${from[@]}"
run fast-phalanx "$work/runner" $half 1+0.01 "${xboard[@]}" "${phalanx[@]}" "${from[@]}"

echo
for pgn in "$work"/*.pgn; do
    name=$(basename "$pgn" .pgn)
    node "$work/runner/check-pgn.mjs" "$pgn" | tail -1 | sed "s/^/$name: /"
    # Games either side lost other than over the board, the engine's colour named.
    awk -v name="$name" '/^\[White / {w = $2} /^\[Black / {b = $2}
         /^\[TerminationDetails/ && /loses on time|disconnects|illegal|stalls/ {
             side = /"White/ ? w : b; gsub(/"/, "", side); n[side ": " $0]++ }
         END { for (k in n) printf "%s: %d x %s\n", name, n[k], k }' "$pgn"
done
echo "Resident memory (kB) of each engine process: after its first minute, at its end"
awk '{ if (!($2 in born)) born[$2] = $1; if (!($2 in first) && $1 - born[$2] >= 60) first[$2] = $3; last[$2] = $3 }
     END { for (p in first) printf "pid %s: %d -> %d (%+.1f%%)\n", p, first[p], last[p], 100 * (last[p] - first[p]) / first[p] }' "$work/rss.log"
