#!/usr/bin/env bash
# One game in the real xboard against fairymax under a virtual display, as a user would play it
# (not part of CI; about a minute). It shows, from xboard's debug file, when the engine's features
# came after `protover 2` and when xboard could begin the game, how long each ping waited for its pong, whether xboard interrupted the
# engine by a signal, and the tags of the saved game.
#
#   tools/xboard-check.sh [ENGINE] [TIME_CONTROL]     defaults: build/velumbrak, 0:30 (minutes)
#   FEN="..." tools/xboard-check.sh                   the game starts from that position (setboard)
#
# Needs Debian's xboard, xvfb and fairymax (apt-get install -y xboard xvfb fairymax).
set -euo pipefail
engine=$(realpath "${1:-build/velumbrak}")
tc=${2:-0:30}
for program in /usr/games/xboard /usr/games/fairymax xvfb-run; do
    command -v "$program" >/dev/null || { echo "missing $program: apt-get install -y xboard xvfb fairymax"; exit 1; }
done
work=$(mktemp -d)
echo "working folder: $work"
position=()
if [ -n "${FEN:-}" ]; then
    echo "$FEN" >"$work/start.fen"
    position=(-loadPositionFile "$work/start.fen")
fi
# -xexit: no dialog waits for a click at the end of the match; nothing is written to ~/.xboardrc.
timeout 1800 xvfb-run -a /usr/games/xboard -fcp "$engine" -fd "$work" -scp /usr/games/fairymax -sd "$work" \
    -matchGames 1 -tc "$tc" -inc 0 "${position[@]}" -saveGameFile "$work/game.pgn" -xexit \
    -saveSettingsOnExit false -debugMode true -nameOfDebugFile "$work/xboard.debug" >"$work/xboard.out" 2>&1 ||
    echo "xboard ended with code $? (see $work/xboard.out)"

# Debug lines start with the milliseconds since xboard's start; a line that xboard sent in the same
# write as the one before it has no time of its own.
awk '
    /^[0-9]+ / { t = $1 }
    /protover 2/ && !sent { sent = t; print "protover 2 sent at " t " ms" }
    /<first : / && !first { print "first line of the engine at " t " ms (its start-up print-out follows)" ; first = 1 }
    /<first : feature .*done=1/ && !done { done = t; print "feature done=1 at " t " ms: " t - sent " ms after protover 2" }
    />first : new/ && !ready { ready = 1; print "first new (the game may begin) at " t " ms" }
    / >first : ping / { ping[$5] = t }
    /<first : pong / { n++; wait = t - ping[$5]; if (wait > worst) worst = wait }
    /Interrupting first/ { signals++ }
    END {
        print n + 0 " pings answered, the slowest after " worst + 0 " ms"
        print "signals sent to the engine: " signals + 0
        if (!done) print "NO feature done=1: xboard waited for its time-out"
    }' "$work/xboard.debug"
grep -E '^\[(White|Black|Result|SetUp|FEN) ' "$work/game.pgn" || echo "no game saved"
