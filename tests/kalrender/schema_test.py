#!/usr/bin/python3
"""Holds kalrender's own check of scenes against a full validator of JSON Schema: both take the scenes that ship, and
both refuse each of these. What the schema cannot say is not looked at here.

    schema_test.py KALRENDER
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

SOURCE = pathlib.Path(__file__).parents[2]
TONE = {"synth": {"kind": "tone"}}
BAD = [
    [], {}, {"sounds": []}, {"sounds": [TONE], "lenght": 1}, {"sounds": [{}]}, {"sounds": [{**TONE, "file": "a.wav"}]},
    {"sounds": [TONE], "length": "silent"}, {"sounds": [TONE], "length": -1}, {"sounds": [TONE], "step": 1.5},
    {"sounds": [TONE], "room": {"volume": 3, "area": 4}}, {"sounds": [TONE], "room": [{"dimensions": [1, 2, 3]}]},
    {"sounds": [TONE], "room": {"dimensions": [1, 2, 0]}}, {"sounds": [TONE], "listener": {"turn": [1, 2]}},
    {"sounds": [{**TONE, "gain": [{"at": 0}]}]}, {"sounds": [{**TONE, "speed": 0}]}, {"sounds": [{**TONE, "occlusion": 2}]},
    {"sounds": [{**TONE, "position": [{"at": 0, "value": [0, 0]}]}]}, {"sounds": [{**TONE, "position": {"points": []}}]},
    {"sounds": [{**TONE, "place": "here"}]}, {"sounds": [{**TONE, "start": [{"frames": 3}]}]},
    {"sounds": [{**TONE, "loop": 1}]}, {"sounds": [{**TONE, "seek": {"at": 0, "to": 0}}]},
    {"sounds": [{**TONE, "copies": {"count": 0}}]}, {"sounds": [{**TONE, "referenceDistance": 0}]},
]


def taken(path):
    command = [sys.argv[1], "--quiet", path, "--output", "out.wav"]
    return subprocess.run(command, stderr=subprocess.DEVNULL, check=False).returncode == 0


def main():
    validator = jsonschema.Draft202012Validator(json.loads((SOURCE / "tools/scene/scene.schema.json").read_text()))
    scenes = [json.loads(path.read_text()) for path in sorted((SOURCE / "scenes").glob("*.json"))]
    faults = 0
    with tempfile.TemporaryDirectory() as folder:
        sys.argv[1] = str(pathlib.Path(sys.argv[1]).resolve())
        os.chdir(folder)
        for scene, is_good in [(scene, True) for scene in scenes] + [(scene, False) for scene in BAD]:
            pathlib.Path("scene.json").write_text(json.dumps({**scene, "length": 0.05} if is_good else scene))
            verdicts = {"the schema": validator.is_valid(scene), "kalrender": taken("scene.json")}
            for who, verdict in verdicts.items():
                if verdict != is_good:
                    faults += 1
                    print(f"{who} {'takes' if verdict else 'refuses'} {json.dumps(scene)[:200]}")
    print(f"{len(scenes)} good scenes, {len(BAD)} bad ones, {faults} wrong verdicts")
    return faults != 0 or len(scenes) < 6


if __name__ == "__main__":
    sys.exit(main())
