#!/bin/sh
# Checks the JavaScript of the package and the stage, and tests both in Debian's Chromium. What that needs of npm goes to
# build/node, as package-lock.json has it.
#   run.sh [TEST...]      without a test: all of them
set -eu
cd "$(dirname "$0")/../.."

node=build/node
if ! cmp -s tests/web/package-lock.json $node/installed; then
    mkdir -p $node
    cp tests/web/package.json tests/web/package-lock.json $node
    npm ci --prefix $node --ignore-scripts --no-audit --no-fund --loglevel=error
    cp tests/web/package-lock.json $node/installed
fi

$node/node_modules/.bin/prettier --check --log-level warn 'web/**/*.{js,ts,css}' 'tests/web/*.js'
$node/node_modules/.bin/tsc --project tests/web
[ $# -gt 0 ] || set -- tests/web/*.test.js
node --test "$@"
