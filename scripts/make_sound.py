#!/usr/bin/env python3
"""Makes src/resources/ok.wav, the sound at the end of a backup: three soft bell notes going up."""
import array
import math
import pathlib
import sys
import wave

RATE = 22050
SECONDS = 1.1
# Start in seconds, frequency in hertz (C5, E5, G5), loudness.
NOTES = [(0.00, 523.25, 0.30), (0.13, 659.26, 0.30), (0.26, 783.99, 0.36)]
# A bell's overtones: multiple of the frequency, loudness, how much faster it dies away.
OVERTONES = [(1.0, 1.0, 1.0), (2.0, 0.35, 1.6), (3.01, 0.12, 2.6), (4.2, 0.05, 4.0)]
ATTACK = 0.008
DECAY = 4.5
FADE_OUT = 0.08


def bell(time: float, frequency: float) -> float:
    """The note's value `time` seconds after it was struck."""
    if time < 0:
        return 0.0
    rise = min(1.0, time / ATTACK)
    return rise * sum(loud * math.exp(-DECAY * faster * time) *
                      math.sin(2 * math.pi * frequency * multiple * time)
                      for multiple, loud, faster in OVERTONES)


def samples() -> array.array:
    count = int(RATE * SECONDS)
    result = array.array("h")
    for i in range(count):
        time = i / RATE
        value = sum(loud * bell(time - start, frequency) for start, frequency, loud in NOTES)
        value *= min(1.0, (SECONDS - time) / FADE_OUT)
        result.append(round(max(-1.0, min(1.0, value)) * 32767))
    if sys.byteorder == "big":
        result.byteswap()
    return result


def main() -> None:
    target = pathlib.Path(__file__).resolve().parent.parent / "src/resources/ok.wav"
    with wave.open(str(target), "wb") as sound:
        sound.setnchannels(1)
        sound.setsampwidth(2)
        sound.setframerate(RATE)
        sound.writeframes(samples().tobytes())


main()
