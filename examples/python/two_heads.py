#!/usr/bin/python3
"""Renders the same scene with two heads and draws both, and by how much the heads differ over frequency.

    two_heads.py SCENE.json OUT.png OTHER.kalhrtfd [FIRST.kalhrtfd]    FIRST: the head built in without it

kalhrtf makes such files of SOFA sets.
"""

import sys

import kalmarble
import matplotlib
import numpy as np

matplotlib.use("agg")
from matplotlib import pyplot  # after the choice above, or it looks for a screen

RATE = 48000
EARS = ("left", "right")


def spectrum(frames):
    """Mean power in third octaves from 50 Hz to 20 kHz, dB, shape (bands, 2)."""
    power = np.abs(np.fft.rfft(frames, axis=0)) ** 2
    bins = np.fft.rfftfreq(len(frames), 1 / RATE)
    centres = 1000 * 2 ** (np.arange(-13, 14) / 3)
    edges = [(bins >= f * 2 ** (-1 / 6)) & (bins < f * 2 ** (1 / 6)) for f in centres]
    return centres, 10 * np.log10(np.array([power[band].mean(axis=0) for band in edges]) + 1e-20)


def main():
    scene, out, other, *first = sys.argv[1:]
    heads = {"first": kalmarble.render(scene, RATE, *first), "other": kalmarble.render(scene, RATE, other)}
    figure, axes = pyplot.subplots(2, figsize=(8, 6), layout="constrained")
    spectra = {}
    for name, frames in heads.items():
        centres, spectra[name] = spectrum(frames)
        for ear, label in enumerate(EARS):
            axes[0].semilogx(centres, spectra[name][:, ear], label=f"{name}, {label}")
    for ear, label in enumerate(EARS):
        axes[1].semilogx(centres, (spectra["other"] - spectra["first"])[:, ear], label=label)
    axes[0].set_ylabel("power, dB")
    axes[1].set(xlabel="Hz", ylabel="other less first, dB")
    for axis in axes:
        axis.legend()
        axis.grid(True)
    figure.savefig(out, dpi=120)


if __name__ == "__main__":
    main()
