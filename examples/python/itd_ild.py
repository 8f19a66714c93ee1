#!/usr/bin/python3
"""Draws what tells the ears a direction: the differences between them in time and level, over azimuth.

    itd_ild.py OUT.png [HRTF.kalhrtfd]
"""

import sys

import kalmarble
import matplotlib
import numpy as np

matplotlib.use("agg")
from matplotlib import pyplot  # after the choice above, or it looks for a screen

RATE = 48000
OVERSAMPLING = 16


# %% A click from each direction. A new engine each time: nothing rings on from the last.
def ears(azimuth, hrtf=None):
    """The response of both ears, shape (512, 2), to a click at an azimuth: degrees, to the right."""
    click = np.zeros(64, np.float32)
    click[0] = 0.5  # below the limiter
    engine = kalmarble.Engine(RATE, hrtf)
    angle = np.radians(azimuth)
    engine.play(kalmarble.Buffer(click, RATE), position=(np.sin(angle), 0, np.cos(angle)), room_send=0)
    return engine.render(512)


# %% The difference in time: the peak of the cross-correlation, between frames by a spectrum padded with zeros.
def itd(frames):
    """By how much the left ear hears later, microseconds."""
    left, right = np.fft.rfft(frames, 2 * len(frames), axis=0).T
    bins = np.fft.rfftfreq(2 * len(frames), 1 / RATE)
    cross = left * np.conj(right) * (bins < 1500)  # higher up, the head shadows what would be compared
    correlation = np.fft.irfft(cross, 2 * len(frames) * OVERSAMPLING)
    lag = np.argmax(correlation)
    return 1e6 * (lag - len(correlation) * (lag > len(correlation) // 2)) / (RATE * OVERSAMPLING)


# %% The difference in level: of the energy.
def ild(frames):
    """By how much the right ear hears louder, dB."""
    left, right = np.sum(frames.astype(float) ** 2, axis=0)
    return 10 * np.log10(right / left)


# %% The picture.
def main():
    out, *hrtf = sys.argv[1:]
    azimuths = np.arange(-180, 181, 5)
    responses = [ears(azimuth, *hrtf) for azimuth in azimuths]
    figure, axes = pyplot.subplots(2, sharex=True, figsize=(7, 6), layout="constrained")
    for axis, difference, label in zip(axes, (itd, ild), ("ITD: left later by, µs", "ILD: right louder by, dB")):
        axis.plot(azimuths, [difference(frames) for frames in responses], ".-")
        axis.set_ylabel(label)
        axis.grid(True)
    axes[1].set_xlabel("azimuth, degrees to the right")
    axes[1].set_xticks(range(-180, 181, 45))
    figure.savefig(out, dpi=120)


if __name__ == "__main__":
    main()
