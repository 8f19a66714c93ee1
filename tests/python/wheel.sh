#!/bin/sh
# Makes the Python wheel from nothing, without a network, and uses it where nothing else of this project is seen.
#   wheel.sh FOLDER     receives the wheel
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
python=/usr/bin/python3
mkdir -p "$1"
out=$(cd "$1" && pwd)
rm -f "$out"/kalmarble-*.whl
empty=$(mktemp -d)
trap 'rm -rf "$empty"' EXIT

$python -m pip wheel -q --no-build-isolation --no-deps --no-index -w "$out" "$root/python"
$python -m pip install -q --root-user-action=ignore --no-deps --no-index --target "$empty/site" "$out"/kalmarble-*.whl
cd "$empty"
env -i PYTHONPATH="$empty/site" $python - <<END
import kalmarble
assert kalmarble.__file__.startswith("$empty"), kalmarble.__file__
frames = kalmarble.render({"length": 0.5, "sounds": [{"synth": {"kind": "noise"}, "position": [-1, 0, 0]}]})
left, right = (frames.astype(float) ** 2).sum(axis=0)
assert frames.shape == (24000, 2) and left > 3 * right > 0, (frames.shape, left, right)
END
echo "$out/$(basename "$out"/kalmarble-*.whl): built, installed, heard"
