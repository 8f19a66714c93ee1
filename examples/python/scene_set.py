#!/usr/bin/python3
"""Renders a set of scenes over a Dask cluster: a NumPy file of float32, shape (frames, 2), a scene.

    scene_set.py OUT SCENE.json...                     on this machine, a worker a core
    scene_set.py OUT --random 1000 --workers 2         a thousand scenes of random rooms and paths
    scene_set.py OUT SCENE.json... --scheduler tcp://first:8786

For a cluster of many machines, which all have kalmarble and see the folders of the scenes and of OUT:

    first$  dask-scheduler
    each$   dask-worker tcp://first:8786 --nworkers auto --nthreads 1
    any$    scene_set.py OUT SCENE.json... --scheduler tcp://first:8786

A scene is the same, to the bit, on any worker of the same kind of processor. When a worker dies, Dask gives its scenes
to another; a file appears only when complete. A scene that is wrong is reported, the others go on, and the exit code
is 1 at the end.
"""

import argparse
import json
import os
import pathlib
import random
import sys
import time

import kalmarble
import numpy as np
from dask.distributed import Client, LocalCluster, as_completed


def random_scene(seed):
    """Two seconds of noise on a random path around the head, in a random room."""
    draw = random.Random(seed)

    def point():
        return [draw.uniform(-4, 4), draw.uniform(-1, 2), draw.uniform(-4, 4)]

    return {
        "length": 2.5,
        "room": {"dimensions": [draw.uniform(3, 20), draw.uniform(3, 30), draw.uniform(2.4, 8)]},
        "sounds": [{
            "synth": {"kind": "noise", "duration": 2, "seed": seed},
            "position": {"interpolation": "smooth", "points": [{"at": t, "value": point()} for t in (0, 0.7, 1.4, 2)]},
        }],
    }


def render_to(task, out, sampling_rate=48000, hrtf=None):
    """Renders a task (name, scene) to OUT/name.npy. Returns its frames."""
    name, scene = task
    target = pathlib.Path(out, name + ".npy")
    frames = kalmarble.render(scene, sampling_rate, hrtf)
    # Two workers may hold the same scene for a moment, when one was given up for lost.
    worker = f"{os.uname().nodename}-{os.getpid()}".replace(".", "-")
    partial = target.with_suffix(f".{worker}.partial")
    with open(partial, "wb") as file:
        np.save(file, frames)
    os.replace(partial, target)
    return len(frames)


def render_set(client, tasks, out, **how):
    """Renders tasks (name, scene), each of another name, on a cluster. Yields (name, frames, what is wrong or None), as
    they are done; a scene that takes its workers down with it is reported as well."""
    tasks = list(tasks)
    if len({name for name, _ in tasks}) < len(tasks):
        raise ValueError("two scenes have the same name")
    pathlib.Path(out).mkdir(parents=True, exist_ok=True)
    futures = client.map(render_to, tasks, out=os.path.abspath(out), pure=False, **how)
    names = {future.key: name for future, (name, _) in zip(futures, tasks)}
    finished = as_completed(futures)
    del futures  # what is done is forgotten
    for future in finished:
        is_done = future.status == "finished"
        yield names[future.key], future.result() if is_done else 0, None if is_done else str(future.exception())
    ours = set(names.values())
    for partial in pathlib.Path(out).glob("*.partial"):  # of workers that died
        if partial.stem.rpartition(".")[0] in ours:
            partial.unlink(missing_ok=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n")[0])
    parser.add_argument("out", help="folder of the results")
    parser.add_argument("scenes", nargs="*", help="JSON files, each of another name")
    parser.add_argument("--random", type=int, default=0, metavar="N", help="renders N random scenes too")
    parser.add_argument("--scheduler", help="address of a cluster; without it, this machine is one")
    parser.add_argument("--workers", type=int, default=os.cpu_count(), help="of this machine")
    parser.add_argument("--rate", type=float, default=48000, help="sampling rate, Hz")
    parser.add_argument("--hrtf", help="head-related responses (.kalhrtfd)")
    options = parser.parse_args()
    tasks = [(pathlib.Path(path).stem, os.path.abspath(path)) for path in options.scenes]
    tasks += [(f"random-{seed:06}", random_scene(seed)) for seed in range(options.random)]
    hrtf = options.hrtf and os.path.abspath(options.hrtf)

    cluster = options.scheduler or LocalCluster(
        n_workers=options.workers, threads_per_worker=1, dashboard_address=None)
    num_bad = 0
    with Client(cluster) as client:
        cores = sum(client.nthreads().values())
        start = time.monotonic()
        for name, _, fault in render_set(client, tasks, options.out, sampling_rate=options.rate, hrtf=hrtf):
            if fault:
                num_bad += 1
                print(f"{name}: {fault}", file=sys.stderr)
        seconds = time.monotonic() - start
    print(json.dumps({
        "scenes": len(tasks) - num_bad, "bad": num_bad, "cores": cores, "seconds": round(seconds, 1),
        "scenes an hour a core": round(3600 * (len(tasks) - num_bad) / seconds / max(cores, 1)),
    }))
    return num_bad > 0


if __name__ == "__main__":
    sys.exit(main())
