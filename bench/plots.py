"""Two plots of what was measured, as SVG."""

import os
from xml.sax.saxutils import escape

from report import ORKAN, Result

WIDTH, LEFT, RIGHT, TOP = 900, 330, 90, 60
BAR, GAP, GROUP = 11, 2, 34
LINE = 13  # height of a small text
COLOURS = {"orkan": "#1f6feb", "peer": "#9aa4ae"}
SERIES_COLOURS = ["#1f6feb", "#2da44e", "#bf3989"]
STYLE = "text{font:13px sans-serif;fill:#444}.small{font-size:11px}.title{font-size:16px;font-weight:bold}"


def document(height: float, parts: list[str]) -> str:
    head = f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height:.0f}">'
    paper = f'<style>{STYLE}</style><rect width="{WIDTH}" height="{height:.0f}" fill="#fff"/>'
    return "\n".join([head, paper, *parts, "</svg>"]) + "\n"


def text(x: float, y: float, words: str, kind: str = "", anchor: str = "start") -> str:
    return f'<text x="{x:.1f}" y="{y:.1f}" class="{kind}" text-anchor="{anchor}">{escape(words)}</text>'


def bar(y: float, length: float, colour: str, words: str) -> list[str]:
    shape = f'<rect x="{LEFT}" y="{y:.1f}" width="{length:.1f}" height="{BAR}" fill="{colour}"/>'
    return [shape, text(LEFT + length + 4, y + BAR - 1, words, "small")]


def speed(result: Result, tool: str) -> float:
    return result.size / result.median(tool) / 1e6


def speed_plot(results: list[Result]) -> str:
    """A pair of bars for each workload: the command, and its best peer."""
    longest = max(max(speed(result, tool) for tool in (ORKAN, result.best_peer())) for result in results)
    room = WIDTH - LEFT - RIGHT - 60
    parts = [text(20, 28, "Input sorted per second, MB: orkan (blue) and its best peer (grey)", "title")]
    for number, result in enumerate(results):
        y, peer = TOP + GROUP * number, result.best_peer()
        parts.append(text(LEFT - 10, y + BAR + 5, result.case.title, "", "end"))
        own, theirs = speed(result, ORKAN), speed(result, peer)
        parts += bar(y, room * own / longest, COLOURS["orkan"], f"{own:.0f}, {own / theirs:.1f} x")
        parts += bar(y + BAR + GAP, room * theirs / longest, COLOURS["peer"], f"{theirs:.0f} {peer}")
    return document(TOP + GROUP * len(results) + 10, parts)


def polyline(points: list[tuple[float, float]], colour: str, dashed: bool) -> list[str]:
    path = " ".join(f"{x:.1f},{y:.1f}" for x, y in points)
    dashes = ' stroke-dasharray="5 4"' if dashed else ""
    dots = [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in points]
    return [f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"{dashes}/>', *dots]


def scaling_plot(results: list[Result]) -> str:
    """Time per byte by size: each size has its place on the axis, the time starts from nothing."""
    series = list(dict.fromkeys(result.case.series for result in results))
    sizes = sorted({result.records for result in results})
    lowest, height, left = 400.0, 330.0, 70
    most = max(1e3 / speed(result, result.best_peer()) for result in results)
    step = (WIDTH - left - 230) / max(1, len(sizes) - 1)

    def point(result: Result, tool: str) -> tuple[float, float]:
        return left + step * sizes.index(result.records), lowest - height * (1e3 / speed(result, tool)) / most

    parts = [text(20, 28, "Nanoseconds per byte by number of records: orkan, and dashed its best peer", "title")]
    for part in range(5):
        y, value = lowest - height * part / 4, most * part / 4
        parts.append(f'<path d="M{left} {y:.1f}H{WIDTH - 200}" stroke="#ddd"/>')
        parts.append(text(left - 8, y + 4, f"{value:.1f}", "small", "end"))
    parts += [text(left + step * i, lowest + 20, f"{size:,}", "small", "middle") for i, size in enumerate(sizes)]
    labels = []
    for name, colour in zip(series, SERIES_COLOURS):
        chosen = [result for result in results if result.case.series == name]
        for tool in (ORKAN, "peer"):
            points = [point(result, result.best_peer() if tool == "peer" else tool) for result in chosen]
            parts += polyline(points, colour, tool == "peer")
            labels.append((points[-1][1] + 4, points[-1][0] + 10, f"{name}, {tool}"))
    free = 0.0  # from here on down
    for y, x, words in sorted(labels):
        free = max(y, free) + LINE
        parts.append(text(x, free - LINE, words, "small"))
    return document(lowest + 40, parts)


def write_all(results: list[Result], folder: str) -> None:
    os.makedirs(folder, exist_ok=True)
    compared = [result for result in results if result.best_peer()]
    workloads = [result for result in compared if not result.case.series]
    scaling = [result for result in compared if result.case.series not in ("", "tiny")]
    for name, draw, chosen in (("speed.svg", speed_plot, workloads), ("scaling.svg", scaling_plot, scaling)):
        if chosen:
            with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
                file.write(draw(chosen))
