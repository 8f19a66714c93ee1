"""Exact, repeatable 3-D sound: scenes and an engine, rendered to arrays of shape (frames, 2), left and right, float32."""

import json
import os
import pathlib

from ._kalmarble import Buffer, Engine as _Engine, SceneError, Voice, __version__, render_text as _render_text

__all__ = ["Buffer", "Engine", "SceneError", "Voice", "render"]


def _hrtf_bytes(hrtf):
    if hrtf is None:
        return b""
    data = bytes(hrtf) if isinstance(hrtf, (bytes, bytearray, memoryview)) else pathlib.Path(hrtf).read_bytes()
    if not data:
        raise ValueError("the head-related responses are empty")
    return data


class Engine(_Engine):
    __doc__ = _Engine.__doc__.replace("the bytes of a .kalhrtfd file; empty:", "the path or the bytes of a .kalhrtfd file; None:")

    def __init__(self, sampling_rate=48000.0, hrtf=None, threads=1):
        super().__init__(sampling_rate, _hrtf_bytes(hrtf), threads)


def render(scene, sampling_rate=48000, hrtf=None):
    """Renders a scene: the same frames, to the bit, in every run and as kalrender with one thread.

    scene: a dict, JSON text (a str that begins with "{") or the path of a JSON file. Names of sound files are relative
        to the scene's folder, or to the current one.
    sampling_rate: of the output, Hz
    hrtf: head-related responses as the path or the bytes of a .kalhrtfd file; None: those built in

    Returns float32 of shape (frames, 2), left and right. The interpreter's lock is free meanwhile.
    Raises SceneError, a ValueError, with all that is wrong with the scene, a line each; ValueError for a rate or
    responses that cannot be served; OSError for files that cannot be read.
    """
    name, folder = "scene", ""
    if isinstance(scene, dict):
        text = json.dumps(scene, default=_plain)
    elif isinstance(scene, str) and scene.lstrip().startswith("{"):
        text = scene
    elif isinstance(scene, (str, os.PathLike)):
        name, folder = os.fspath(scene), str(pathlib.Path(scene).parent)
        text = pathlib.Path(scene).read_text(encoding="utf-8")
    else:
        raise TypeError(f"expected a scene as a dict, JSON text or a path, found {type(scene).__name__}")
    return _render_text(text, name, folder, sampling_rate, _hrtf_bytes(hrtf))


def _plain(value):
    """What a dict may hold besides JSON's own types: NumPy's arrays and numbers."""
    if hasattr(value, "tolist"):
        return value.tolist()
    raise TypeError(f"expected what JSON can hold, found {type(value).__name__}")
