# Sourced by match.sh and soak.sh: sets up the match runner of ../shared/tools/match in a folder of
# the caller's.
#
#   install_runner WORK SHARED   # WORK/runner: a copy of SHARED/tools/match, its dependency installed
#   ponder_runner WORK           # WORK/runner-ponder: the same, saying `hard` to xboard engines, so
#                                # that they think on the opponent's time (the runner says `easy`)

install_runner() {
    local work=$1 shared=$2
    if [ ! -d "$work/runner/node_modules" ]; then
        # The shared folder may be read-only: install the runner's one dependency in a copy.
        rm -rf "$work/runner" && cp -r "$shared/tools/match" "$work/runner" && chmod -R u+w "$work/runner"
        (cd "$work/runner" && npm ci)
    fi
}

ponder_runner() {
    local work=$1
    rm -rf "$work/runner-ponder" && cp -r "$work/runner" "$work/runner-ponder"
    sed -i "s/'new', 'force', 'easy', 'post'/'new', 'force', 'hard', 'post'/" "$work/runner-ponder/lib/engine.mjs"
    grep -q "'force', 'hard'" "$work/runner-ponder/lib/engine.mjs" || { echo "cannot switch the runner to hard" >&2; exit 1; }
}
