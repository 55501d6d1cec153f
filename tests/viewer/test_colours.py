"""The log viewer's colours of runs, as colour-blind people see them."""

import re
import unittest
from itertools import combinations

from browser import VIEWER

RUNS = ("work", "siblings", "queued", "setup", "idle", "broken")
LEAST = 15

# Of linear light, for those who lack one of the three cones: G. M. Machado and others, "A
# Physiologically-based Model for Simulation of Color Vision Deficiency", 2009.
SEEN = {
    "protanopia": ((0.152286, 1.052583, -0.204868), (0.114503, 0.786281, 0.099216),
                   (-0.003882, -0.048116, 1.051998)),
    "deuteranopia": ((0.367322, 0.860646, -0.227968), (0.280085, 0.672501, 0.047413),
                     (-0.011820, 0.042940, 0.968881)),
    "tritanopia": ((1.255528, -0.076749, -0.178779), (-0.078411, 0.930809, 0.147602),
                   (0.004733, 0.691367, 0.303900))}
# Of sRGB, to CIE XYZ relative to its white.
TO_XYZ = ((0.4339, 0.3762, 0.1899), (0.2126, 0.7152, 0.0722), (0.0177, 0.1095, 0.8728))


def times(matrix, vector):
    return [sum(a * b for a, b in zip(row, vector)) for row in matrix]


def linear(colour):
    parts = [int(colour[i:i + 2], 16) / 255 for i in (1, 3, 5)]
    return [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]


def lab(light):
    """CIE 1976: equal distances look alike."""
    x, y, z = (part ** (1 / 3) if part > 0.008856 else 7.787 * part + 16 / 116
               for part in times(TO_XYZ, light))
    return 116 * y - 16, 500 * (x - y), 200 * (y - z)


def difference(one, other, matrix):
    seen = [lab([min(1, max(0, part)) for part in times(matrix, linear(colour))])
            for colour in (one, other)]
    return sum((a - b) ** 2 for a, b in zip(*seen)) ** 0.5


class Colours(unittest.TestCase):
    def test_no_two_kinds_of_run_look_alike_to_the_colour_blind(self):
        themes = [dict(re.findall(r"--(\w+): (#[0-9a-f]{6})", block)) for block in
                  re.findall(r":root \{(.*?)\}", VIEWER.read_text(encoding="utf-8"), re.DOTALL)]
        self.assertEqual(len(themes), 2)
        light, dark = themes
        alike = [(name, seen, one, other, round(difference(theme[one], theme[other], matrix), 1))
                 for name, theme in (("light", light), ("dark", light | dark))
                 for seen, matrix in SEEN.items() for one, other in combinations(RUNS, 2)
                 if difference(theme[one], theme[other], matrix) < LEAST]
        self.assertEqual(alike, [])


if __name__ == "__main__":
    unittest.main()
