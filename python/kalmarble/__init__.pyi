from collections.abc import Mapping
from os import PathLike
from typing import Any

import numpy as np
from numpy.typing import NDArray

__version__: str

_Point = tuple[float, float, float] | list[float] | NDArray[Any]
_Head = str | PathLike[str] | bytes | bytearray | memoryview | None

class SceneError(ValueError): ...

class Buffer:
    def __init__(self, samples: NDArray[np.float32] | NDArray[np.int16], sampling_rate: float = ...) -> None: ...
    @staticmethod
    def from_file(path: str) -> Buffer: ...
    @property
    def frames(self) -> int: ...
    @property
    def channels(self) -> int: ...
    @property
    def sampling_rate(self) -> float: ...

class Voice:
    def change(
        self,
        at: int | None = ...,
        *,
        position: _Point | None = ...,
        gain: float | None = ...,
        speed: float | None = ...,
        occlusion: float | None = ...,
        reference_distance: float | None = ...,
        room_send: float | None = ...,
    ) -> None: ...
    def seek(self, position: float, at: int | None = ...) -> None: ...
    def stop(self, at: int | None = ...) -> None: ...
    @property
    def playing(self) -> bool: ...

class Engine:
    def __init__(self, sampling_rate: float = ..., hrtf: _Head = ..., threads: int = ...) -> None: ...
    def play(
        self,
        buffer: Buffer,
        at: int | None = ...,
        *,
        position: _Point | None = ...,
        gain: float = ...,
        speed: float = ...,
        occlusion: float = ...,
        reference_distance: float = ...,
        room_send: float | None = ...,
        loop: bool | tuple[int, int] = ...,
        start: float = ...,
    ) -> Voice: ...
    def set_room(
        self, dimensions: _Point, wet_level_a: float = ..., wet_level_b: float = ..., at: int | None = ...
    ) -> None: ...
    def render(self, frames: int) -> NDArray[np.float32]: ...
    @property
    def position(self) -> int: ...
    @property
    def limited_frames(self) -> int: ...
    @property
    def sampling_rate(self) -> float: ...

def render(
    scene: Mapping[str, Any] | str | PathLike[str], sampling_rate: float = ..., hrtf: _Head = ...
) -> NDArray[np.float32]: ...
