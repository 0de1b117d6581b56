#!/usr/bin/env bash
# Plays the engine against peer engines from Debian's packages, as an xboard engine and as a UCI
# engine, with the match runner kept beside the project (../shared/tools/match), then replays the
# PGNs and counts how the games ended. Not part of CI: 100 games at 10s+0.1s take about an hour.
#
#   tools/match.sh xboard [games]   # against Fairy-Max (OPPONENT=phalanx for Phalanx)
#   tools/match.sh uci [games]      # against Stockfish at a low Skill Level (SKILL, default 5)
#   tools/match.sh all [games]
#   tools/match.sh vs OTHER_BINARY [games]   # this build against another build of the engine, as
#                                            # UCI, from 2moves_v1.epd at 5s+0.05s unless TC is set
#
# CONCURRENCY (default 1) sets how many games run at once.
# VALUES names a values.txt for this build and OTHER_VALUES one for the other build of `vs`; each
# engine runs in a folder of its own, without such a file unless one is named.
# MATCH_DIR (default /tmp/velumbrak-match) receives the runner copy, the engine copy, PGNs and logs.
# The engine is copied there first, so that a rebuild during a match does not disturb it.
# xboard games start from the initial position unless XBOARD_OPENINGS names a file: the runner
# sets other positions with setboard or the edit command.
# PONDER=1 plays the xboard games with thinking on the opponent's time: the runner sends `easy`
# before each game, so a second copy of it is made that sends `hard` instead.
set -euo pipefail

mode=${1:-all}
games=${2:-40}
root=$(cd "$(dirname "$0")/.." && pwd)
shared=${SHARED_DIR:-$root/../shared}
work=${MATCH_DIR:-/tmp/velumbrak-match}
tc=${TC:-10+0.1}
[ "$mode" = vs ] && tc=${TC:-5+0.05}
other=""
if [ "$mode" = vs ]; then
    other=$(realpath "$2")
    games=${3:-200}
fi
skill=${SKILL:-5}
openings=${UCI_OPENINGS:-$shared/testdata/openings/2moves_v1.epd}

missing=()
for pkg in fairymax phalanx stockfish; do [ -x /usr/games/$pkg ] || missing+=("$pkg"); done
if [ ${#missing[@]} -gt 0 ] && [ "$mode" != vs ]; then
    apt-get update && apt-get install -y "${missing[@]}"
fi

mkdir -p "$work/engine" "$work/other"
rm -f "$work/engine/values.txt" "$work/other/values.txt"
[ -n "${VALUES:-}" ] && cp "$VALUES" "$work/engine/values.txt"
[ -n "${OTHER_VALUES:-}" ] && cp "$OTHER_VALUES" "$work/other/values.txt"
. "$root/tools/runner.sh"
install_runner "$work" "$shared"
runner=$work/runner
if [ "${PONDER:-0}" = 1 ]; then
    ponder_runner "$work"
    runner=$work/runner-ponder
fi
cmake -S "$root" -B "$root/build" >/dev/null && cmake --build "$root/build" -j2 --target velumbrak >/dev/null
cp "$root/build/velumbrak" "$work/engine/velumbrak"

run() { # name, then the runner's arguments
    local name=$1
    shift
    (cd "$runner" && node match.mjs "$@" --games "$games" --tc "$tc" --concurrency "${CONCURRENCY:-1}" \
        --pgn "$work/$name.pgn" --log "$work/$name.log") | tee "$work/$name.out" | grep -v '^Finished game'
    node "$work/runner/check-pgn.mjs" "$work/$name.pgn" | tail -2
    echo "Terminations of $name:"
    grep -h '^\[TerminationDetails\|^\[Termination ' "$work/$name.pgn" | sort | uniq -c
}

engine=(--engine "cmd=$work/engine/velumbrak" "dir=$work/engine" name=Velumbrak)

if [ "$mode" = xboard ] || [ "$mode" = all ]; then
    case ${OPPONENT:-fairymax} in
    phalanx) opponent=(--engine "cmd=/usr/games/phalanx -l- -b-" proto=xboard) ;;
    *) opponent=(--engine cmd=/usr/games/fairymax proto=xboard) ;;
    esac
    extra=()
    [ -n "${XBOARD_OPENINGS:-}" ] && extra=(--openings "$XBOARD_OPENINGS" --order random --seed 5)
    name=xboard-${OPPONENT:-fairymax}
    [ "${PONDER:-0}" = 1 ] && name=$name-ponder
    rm -f "$work/$name.pgn"
    run "$name" "${engine[@]}" proto=xboard "${opponent[@]}" "${extra[@]}"
    if [ "${PONDER:-0}" = 1 ]; then
        # Each hint against the opponent's next move, as the engine received it.
        awk '$2=="[0A]" && $3==">" && $4=="Hint:" {h=$5; next}
             $2=="[0A]" && $3=="<" && $4 ~ /^[a-h][1-8][a-h][1-8][qrbn]?$/ && h!="" {if ($4==h) hit++; else miss++; h=""}
             $2=="[0A]" && $3=="<" && ($4=="new" || $4=="result" || $4=="force") {h=""}
             END {print "ponder hits", hit+0, "misses", miss+0}' "$work/$name.log"
    fi
fi

if [ "$mode" = vs ]; then
    # A copy too, so that a later build of the other tree cannot change it mid-match.
    cp "$other" "$work/other/velumbrak"
    rm -f "$work/vs.pgn"
    run vs "${engine[@]}" proto=uci option.Hash=16 --engine "cmd=$work/other/velumbrak" "dir=$work/other" \
        name=Other proto=uci option.Hash=16 --openings "$openings" --order random --seed 7
fi

if [ "$mode" = uci ] || [ "$mode" = all ]; then
    rm -f "$work/uci-stockfish.pgn"
    run uci-stockfish "${engine[@]}" --engine cmd=/usr/games/stockfish "option.Skill Level=$skill" \
        option.Threads=1 option.Hash=16 --openings "$openings" --order random --seed 11
fi
