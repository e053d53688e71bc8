# SPDX-License-Identifier: GPL-2.0-or-later
"""Plots the growth of costs as SVG: one panel per series, both axes logarithmic, the fitted points filled."""

import math

WIDTH, HEIGHT, MARGIN = 460, 320, 56


def decades(values):
    return math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))


def panel(left, title, series):
    counts = {int(n): t / 1000 for n, t in series["times_us"].items()}
    (x_low, x_high), (y_low, y_high) = decades(counts), decades(counts.values())

    def x(value):
        return left + MARGIN + (WIDTH - 2 * MARGIN) * (math.log10(value) - x_low) / (x_high - x_low)

    def y(value):
        return HEIGHT - MARGIN - (HEIGHT - 2 * MARGIN) * (math.log10(value) - y_low) / (y_high - y_low)

    parts = [f'<text x="{left + WIDTH / 2}" y="24" text-anchor="middle">{title}: '
             f'exponent {series["exponent"]:.2f}</text>']
    for power in range(x_low, x_high + 1):
        parts.append(f'<path d="M{x(10 ** power):.1f} {HEIGHT - MARGIN}V{MARGIN}" stroke="#ddd"/>'
                     f'<text x="{x(10 ** power):.1f}" y="{HEIGHT - MARGIN + 18}" '
                     f'text-anchor="middle">{10 ** power}</text>')
    for power in range(y_low, y_high + 1):
        parts.append(f'<path d="M{left + MARGIN} {y(10 ** power):.1f}H{left + WIDTH - MARGIN}" stroke="#ddd"/>'
                     f'<text x="{left + MARGIN - 6}" y="{y(10 ** power) + 4:.1f}" '
                     f'text-anchor="end">{10.0 ** power:g} ms</text>')
    line = " ".join(f"{x(n):.1f},{y(t):.1f}" for n, t in counts.items())
    parts.append(f'<polyline points="{line}" fill="none" stroke="#5e81ac" stroke-width="2"/>')
    for n, t in counts.items():
        fill = "#5e81ac" if n in series["fitted"] else "#fff"
        parts.append(f'<circle cx="{x(n):.1f}" cy="{y(t):.1f}" r="4" fill="{fill}" stroke="#5e81ac"/>')
    return "\n".join(parts)


def growth_plot(growth):
    panels = [panel(WIDTH * i, title, series) for i, (title, series) in enumerate(growth.items())]
    return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH * len(panels)}" height="{HEIGHT}" '
            f'font-family="sans-serif" font-size="12">\n<rect width="100%" height="100%" fill="#fff"/>\n'
            + "\n".join(panels) + "\n</svg>\n")
