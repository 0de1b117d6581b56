#!/bin/bash
# Seeds and runs the fuzz targets two at a time: tools/fuzz.sh [SECONDS [TARGET ...]]
# Needs the fuzz build (README); corpora, logs and findings go to $CORPUS.
seconds=${1:-600}
shift
root=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD:-$root/build-fuzz} data=${TESTDATA:-$root/../shared/testdata} corpus=${CORPUS:-/tmp/fuzz-corpus}
declare -A maxlen=([interpreter]=4096 [fen]=256 [values]=400000 [ini]=2048 [book]=65536 [learn]=264000
                   [syzygy]=470000 [pgn]=8192)
games() { awk -v out="$1" '/^\[Event /{n++} n>0 && n<=40 {print > (out n)}' "$2"; }

seed() { # target folder
    case $1 in
    interpreter)
        printf 'uci\nsetoption name Hash value 2\nisready\nucinewgame\nposition startpos moves e2e4 e7e5\ngo depth 5\nposition fen 8/8/4k3/8/2B5/8/3NK3/8 w - - 0 1\ngo wtime 1000 btime 1000\nstop\nquit\n' >"$2/uci"
        printf 'xboard\nprotover 2\nnew\nforce\ne2e4\nlevel 40 5 0\ngo\nusermove c7c5\nping 7\nundo\nremove\nsetboard r3k2r/8/8/8/8/8/8/R3K2R w KQkq - 0 1\nmemory 4\nanalyze\ne1g1\nexit\n' >"$2/xboard"
        printf 'new\nsd 3\ne2e4\nbrd\nmoves\nevl\nmvd\nperft 2\nundo\nloadfen 8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - -\nst 1\ngo\nbkm\negtbstat\nhelp\nbench 2\nq\n' >"$2/console"
        printf 'new\nforce\nedit\n#\nKe1\nQd1\nc\nke8\n.\nbrd\nepdevl input values.txt\nreload\nclean\ngo\n' >"$2/edit"
        head -3 "$data/perft/tricky.epd" | sed 's/;.*//; s/^/position fen /; s/$/\ngo infinite\nstop/' >"$2/fens" ;;
    fen) cat "$data/perft/perftsuite.epd" "$data/perft/tricky.epd" | split -l 1 - "$2/" && head -100 "$data/epd/wac.epd" | split -l 1 - "$2/wac" ;;
    values) : >"$2/empty" && seq -60 60 >"$2/short" && yes 0 | head -n 167793 >"$2/zeros" && seq 167793 >"$2/numbered" ;;
    ini) printf 'TranspositionSizeMb = 8\nPawnHashSize 14\n; comment\nAggressivity=120\nCowardice, 90\nResignValue 700\nResignTimes 3\nVarietyOfPlay 40\nBookLearningBound 30\nLearning on\nUseBookLearning true\nBookLearningMode discover\nUseLearningData off\nUseBookWeights on\nLogLearningIntoFile on\nPondering off\nUseEGTB on\nEGTBPath "<empty>"\nOpeningsBook "Velumbrak.ini"\n' >"$2/all" ;;
    book)
        games "$2/game" "$data/pgn/TCEC_Season_4_-_Superfinal.pgn"
        "$build/velumbrak-book" -plies 12 -o "$2/small" "$2"/game[1-3] >/dev/null
        "$build/velumbrak-book" -plies 8 -o "$2/starters" "$data/openings/gaviota-starters.pgn" >/dev/null
        rm "$2"/game* ;;
    learn) python3 - "$2" <<'PY'
import struct, sys
magic, buckets, records = b"Velumbrak learning file", [0] * 65536, b""
for i, (key1, key2) in enumerate([(0x10001, 5), (0x20001, 6), (0x30002, 7), (0x40001, 8)]):
    records += struct.pack("<iiIIII", 4 * i + 6, -150, 0x1234, key1, key2, buckets[key1 & 0xFFFF])
    buckets[key1 & 0xFFFF] = 262167 + 24 * i
open(sys.argv[1] + "/records", "wb").write(magic + struct.pack("<65536I", *buckets) + records)
open(sys.argv[1] + "/empty", "wb").write(magic + bytes(4 * 65536))
PY
        ;;
    syzygy) # the first byte: the material's place in the sorted list, times two, plus one for DTZ
        i=0
        for name in $(cd "$data/syzygy" && ls *.rtbw | LC_ALL=C sort | sed 's/.rtbw//'); do
            { printf "\\$(printf %o $((2 * i)))"; cat "$data/syzygy/$name.rtbw"; } >"$2/$name.rtbw"
            { printf "\\$(printf %o $((2 * i + 1)))"; cat "$data/syzygy/$name.rtbz"; } >"$2/$name.rtbz"
            i=$((i + 1))
        done ;;
    pgn) games "$2/tcec" "$data/pgn/TCEC_Season_4_-_Superfinal.pgn" && games "$2/start" "$data/openings/gaviota-starters.pgn" ;;
    esac
}

run() {
    local dir=$corpus/$1
    [ -d "$dir/seeds" ] || { mkdir -p "$dir/seeds" "$dir/live" && seed "$1" "$dir/seeds"; }
    nice -n 15 "$build/tests/fuzz/fuzz_$1" -max_total_time="$seconds" -max_len="${maxlen[$1]}" -timeout=30 -len_control=0 \
        -rss_limit_mb=4096 -print_final_stats=1 -artifact_prefix="$dir/" "$dir/live" "$dir/seeds" >"$dir.log" 2>&1 ||
        echo "$1: FINDING, see $dir.log"
    echo "$1: $(grep -a -E '^#[0-9]+' "$dir.log" | tail -1)"
}

set -- ${*:-interpreter fen values ini book learn syzygy pgn}
while [ $# -gt 0 ]; do
    run "$1" & [ $# -gt 1 ] && run "$2" &
    wait
    shift 2 || shift
done
