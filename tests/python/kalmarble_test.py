"""The Python package against kalrender and against itself; the cluster is a real one of two processes."""

import ast
import hashlib
import json
import os
import pathlib
import signal
import subprocess
import sys
import threading

import kalmarble
import numpy as np
import pytest
from dask.distributed import Client, LocalCluster

import itd_ild
import scene_set

SOURCE = pathlib.Path(__file__).parents[2]
SCENE = {
    "length": 0.4,
    "room": {"dimensions": [4, 5, 3]},
    "sounds": [{"synth": {"kind": "noise", "duration": 0.3}, "seek": [{"at": {"frame": 3001}, "to": 0}],
                "position": [{"at": 0, "value": [-2, 0, 1]}, {"at": 0.3, "value": np.array([2, 1, -1])}]}],
}
BAD = {"sounds": [{"synth": {"kind": "noise"}, "gain": "loud"}, {"file": "none.wav", "speed": 0}]}


def kalrender(path, *arguments):
    command = [os.environ["KALRENDER"], "--quiet", path, *arguments]
    return subprocess.run(command, capture_output=True, text=True, check=False)


def test_scenes_are_those_of_kalrender(tmp_path):
    text = json.dumps(SCENE, default=np.ndarray.tolist)
    path = tmp_path / "scene.json"
    path.write_text(text)
    for rate in (48000, 44100):
        kalrender(path, "--rate", str(rate), "-o", tmp_path / "out.wav")
        wav = (tmp_path / "out.wav").read_bytes()
        expected = wav[wav.index(b"data") + 8:]
        for scene in (SCENE, text, path, str(path)):
            frames = kalmarble.render(scene, rate)
            assert frames.dtype == np.float32 and frames.shape == (round(0.4 * rate), 2) and np.any(frames)
            assert frames.tobytes() == expected
    path.write_text('{"sounds": [{"file": "out.wav"}]}')  # beside the scene
    assert kalmarble.render(path).any()
    head = (SOURCE / "data" / "hrtf.kalhrtfd").read_bytes()
    assert np.array_equal(kalmarble.render(SCENE, hrtf=head), kalmarble.render(SCENE))


def test_every_fault_is_told_as_kalrender_tells_it(tmp_path):
    path = tmp_path / "bad.json"
    for text in (json.dumps(BAD), "{"):
        path.write_text(text)
        with pytest.raises(kalmarble.SceneError) as error:
            kalmarble.render(path)
        assert f"{error.value}\n" == kalrender(path, "-o", tmp_path / "out.wav").stderr.replace("kalrender: ", "")
    with pytest.raises(ValueError, match="scene: /sounds/0/gain: expected a linear gain(.|\n)*/sounds/1/speed"):
        kalmarble.render(BAD)
    for kind, text, call in (
        (FileNotFoundError, "none.json", lambda: kalmarble.render("none.json")),
        (TypeError, "dict, JSON text or a path", lambda: kalmarble.render(3)),
        (ValueError, "Invalid sampling rate", lambda: kalmarble.render(SCENE, float("nan"))),
        (ValueError, "wrong signature", lambda: kalmarble.render(SCENE, hrtf=b"x" * 100)),
        (TypeError, "found float64", lambda: kalmarble.Buffer(np.zeros(3))),
        (ValueError, r"found \(3, 3\)", lambda: kalmarble.Buffer(np.zeros((3, 3), np.float32))),
        (ValueError, "sample 1 is not", lambda: kalmarble.Buffer(np.array([0, np.nan], np.float32))),
        (ValueError, "0 or more, found -1", lambda: kalmarble.Engine().render(-1)),
    ):
        with pytest.raises(kind, match=text):
            call()


def test_a_voice_does_what_it_is_told_at_the_frame():
    noise = np.random.default_rng(2).uniform(-0.3, 0.3, 8000).astype(np.float32)
    plain = kalmarble.Engine()
    plain.play(kalmarble.Buffer(noise))
    reference = plain.render(6000)

    def played(sizes):
        engine = kalmarble.Engine()
        voice = engine.play(kalmarble.Buffer(noise), at=700)
        voice.stop(at=5003)
        voice.seek(0, at=2501)  # told out of order, and far ahead
        frames = np.concatenate([engine.render(size) for size in sizes])
        assert engine.position == 6000 and not voice.playing
        for late in (lambda: voice.change(at=100, gain=2), lambda: voice.stop(at=5999)):
            with pytest.raises(ValueError, match="expected frame 6000 or later"):
                late()
        return frames

    frames = played([6000])
    assert np.array_equal(frames, played([1, 699, 1800, 2, 2498, 1000]))
    assert not frames[:700].any() and np.array_equal(frames[700:2501], reference[:1801])
    # The low band and the limiter remember, so what follows is only nearly what the plain voice gives.
    assert abs(frames[2501:5003] - reference[:2502]).max() < 0.05 and abs(frames[5003:]).max() < 0.05
    assert abs(frames[5002]).min() > 0.05, "or the noise is too soft there to tell"

    def once(samples, **how):
        engine = kalmarble.Engine()
        engine.play(kalmarble.Buffer(samples), **how)
        return engine.render(400)

    assert np.array_equal(once(noise[:99], loop=True), once(np.tile(noise[:99], 5)))
    whole = (noise[:400] * 32768).astype(np.int16)
    assert np.array_equal(once(whole), once((whole / 32768).astype(np.float32)))

    engine = kalmarble.Engine()
    voice = engine.play(kalmarble.Buffer(np.full(64, 8000, np.int16)), position=(-1, 0, 0), loop=True, room_send=0)
    voice.change(at=1000, position=(1, 0, 0))
    engine.render(900)
    for bad in ({"gain": -1}, {"speed": float("nan")}, {"occlusion": 2}, {"position": (0, float("inf"), 0)}):
        with pytest.raises(ValueError, match="expected"):
            voice.change(**bad)
    assert engine.render(4000).any()


def test_the_interpreter_is_free_while_an_engine_renders():
    engine = kalmarble.Engine()
    noise = kalmarble.Buffer(np.random.default_rng(1).uniform(-0.1, 0.1, 48000).astype(np.float32))
    voices = [engine.play(noise, position=(1, 0, 0.01 * i), loop=True) for i in range(50)]
    thread = threading.Thread(target=engine.render, args=(960000,))
    thread.start()
    seen = 0
    while seen in (0, 960000) and thread.is_alive():
        voices[0].change(gain=0.5)
        seen = engine.position  # 0 or the last, had the thread kept the lock
    thread.join()
    assert 0 < seen < engine.position == 960000


def digests(folder):
    return {file.stem: hashlib.sha256(file.read_bytes()).hexdigest() for file in folder.iterdir()}


def test_a_set_survives_a_worker_and_bad_scenes(tmp_path):
    good = [(f"scene-{seed}", scene_set.random_scene(seed)) for seed in range(24)]
    (tmp_path / "one").mkdir()
    assert all(scene_set.render_to(task, tmp_path / "one") == 120000 for task in good)
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None) as cluster, Client(cluster) as client:
        faults, done, victim = {}, 0, next(iter(client.run(os.getpid).values()))
        for name, frames, fault in scene_set.render_set(client, [("bad", BAD), *good], tmp_path / "two"):
            done += 1
            if done == 8:
                os.kill(victim, signal.SIGKILL)
            assert fault or frames == 120000
            faults.update({name: fault} if fault else {})
    assert done == 25 and list(faults) == ["bad"] and "/sounds/1/speed" in faults["bad"]
    assert digests(tmp_path / "two") == digests(tmp_path / "one")


def test_examples_draw(tmp_path):
    assert 400 < itd_ild.itd(itd_ild.ears(90)) < 900 and itd_ild.ild(itd_ild.ears(90)) > 6
    assert abs(itd_ild.itd(itd_ild.ears(-60)) + itd_ild.itd(itd_ild.ears(60))) < 1
    head = SOURCE / "data" / "hrtf.kalhrtfd"
    scene = tmp_path / "scene.json"
    scene.write_text(json.dumps(scene_set.random_scene(1)))
    out = tmp_path / "out.png"
    for example, *arguments in (["itd_ild.py", out], ["two_heads.py", scene, out, head]):
        subprocess.run([sys.executable, SOURCE / "examples/python" / example, *arguments], check=True)
        assert out.stat().st_size > 10000
        out.unlink()


def parameters(function):
    """Of a function's syntax tree: names in order, from where on by name alone, and how many have defaults."""
    known = function.args
    names = [argument.arg for argument in known.posonlyargs + known.args + known.kwonlyargs]
    optional = len(known.defaults) + sum(default is not None for default in known.kw_defaults)
    return names, len(known.kwonlyargs), optional


def test_stubs_tell_what_there_is():
    stub = ast.parse((SOURCE / "python/kalmarble/__init__.pyi").read_text())
    classes = {node.name: node for node in stub.body if isinstance(node, ast.ClassDef)}
    functions = {node.name for node in stub.body if isinstance(node, ast.FunctionDef)}
    assert classes.keys() | functions == set(kalmarble.__all__)
    for name, node in classes.items():
        runtime = getattr(kalmarble, name)
        members = {member.name: member for member in node.body if isinstance(member, ast.FunctionDef)}
        public = {member for member in dir(runtime) if not hasattr(Exception, member) and member[0] != "_"}
        assert public == members.keys() - {"__init__"}
        for member, described in members.items():
            if not isinstance(getattr(runtime, member), property):  # pybind11 puts the signature above the docstring
                line = getattr(getattr(kalmarble._kalmarble, name), member).__doc__.partition("\n")[0]
                assert parameters(described) == parameters(ast.parse(f"def {line}: ...").body[0]), line
