#!/bin/sh
# The engine driven by node-uci, a UCI client library from npm, as a program of a user would:
# its parser must read the id and every option line; uci, setoption, position, go and stop work
# through it. Usage: node_uci.sh ENGINE FOLDER. Without node, npm or the registry it is skipped.
command -v node >/dev/null && command -v npm >/dev/null || { echo "SKIP: node or npm is not installed"; exit 0; }
mkdir -p "$2" && cd "$2" || exit 1
[ -d node_modules/node-uci ] || timeout 180 npm install --no-audit --no-fund --fetch-retries=1 node-uci@1.3.4 \
    >npm.log 2>&1 || { echo "SKIP: node-uci could not be installed (see $2/npm.log)"; exit 0; }
node - "$1" <<'EOF'
const assert = require('assert'), { Engine } = require('node-uci')
;(async () => {
  const engine = new Engine(process.argv[2])
  await engine.init()
  assert.deepStrictEqual(engine.id, { name: 'Velumbrak 1.96', author: 'Ilvar T. Dromsen' })
  assert.deepStrictEqual([...engine.options.keys()], ['Hash', 'PawnHash', 'SyzygyPath', 'OpeningsBook',
    'OwnBook', 'MultiPV', 'Aggressivity', 'Defensivity', 'Clear Hash', 'Ponder', 'Move Overhead'])
  assert.deepStrictEqual(engine.options.get('MultiPV'), { type: 'spin', default: 1, min: 1, max: 1024 })
  await engine.setoption('MultiPV', 2)
  await engine.position('startpos', ['e2e4', 'e7e5'])
  const found = await engine.go({ depth: 12 })
  assert.match(found.bestmove, /^[a-h][1-8][a-h][1-8]$/)
  assert.deepStrictEqual([...new Set(found.info.filter(i => i.depth === 12).map(i => i.multipv))], [1, 2])
  engine.goInfinite()
  await new Promise(resolve => setTimeout(resolve, 300))
  assert.match((await engine.stop()).bestmove, /^[a-h][1-8][a-h][1-8]$/)
  await engine.quit()
  console.log('node-uci read the id and every option; setoption, position, go and stop worked')
})().catch(error => { console.error(error); process.exit(1) })
EOF
