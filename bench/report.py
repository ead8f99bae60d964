"""What was measured, judged and laid out as text and as Markdown."""

import dataclasses
import os
import platform
import statistics
import subprocess
import sys

from cases import Case
from measure import Run

ORKAN, CAT, MOVING, SORT = "orkan", "cat", "moving alone", "sort, 1 thread"
MIB = 1 << 20
LARGE_RECORD = 64  # bytes; the memory limits are tighter from here on
IN_MEMORY, EXTERNAL = (2.0, 1.35), (1.6, 1.3)  # small records, large ones
MOVING_EXPLAINED = (
    "Moving alone: what copying the records in a known order takes of the time and, in brackets, of the time that the\n"
    "targets leave: near 1, and beyond, they are out of reach for one thread that moves them so."
)
GROWTH = 1.6  # of the time per byte from the smallest size of a series to any other


@dataclasses.dataclass
class Result:
    case: Case
    records: int
    size: int  # bytes of input
    runs: dict[str, list[Run]] = dataclasses.field(default_factory=dict)
    left_out: dict[str, str] = dataclasses.field(default_factory=dict)

    def median(self, tool: str) -> float:
        return statistics.median(run.seconds for run in self.runs[tool])

    def best(self, tool: str) -> Run:
        return min(self.runs[tool], key=lambda run: run.seconds)

    def peak(self, tool: str) -> int:
        return max(run.peak_bytes for run in self.runs[tool])

    def peers(self) -> list[str]:
        return [tool for tool in self.runs if is_peer(tool)]

    def best_peer(self) -> str:
        return min(self.peers(), key=self.median, default="")


@dataclasses.dataclass(frozen=True)
class Judgement:
    """A measured ratio and its bound: the least for a speed, the most for a cost; without a bound nothing is asked."""

    what: str
    value: float
    bound: float
    at_least: bool

    def good(self) -> bool:
        return not self.bound or (self.value >= self.bound if self.at_least else self.value <= self.bound)

    def text(self) -> str:
        bound = f" ({'≥' if self.at_least else '≤'} {self.bound:g})" if self.bound else ""
        return f"{self.value:.2f}{bound}" + ("" if self.good() else " **miss**")


def is_peer(tool: str) -> bool:
    return tool not in (CAT, MOVING) and not tool.startswith(ORKAN)


def seconds_wanted(result: Result) -> float:
    """The time that reaches all targets of speed; 0 where there is none."""
    targets = result.case.targets
    wanted = [result.median(result.best_peer()) / targets.peer] if targets.peer and result.peers() else []
    wanted += [result.median(SORT) / targets.sort] if targets.sort and SORT in result.runs else []
    wanted += [result.median(CAT) * targets.cat] if targets.cat and CAT in result.runs else []
    return min(wanted, default=0)


def moving_text(result: Result) -> str:
    """What moving the records alone takes of the time, and of the time that the targets leave."""
    if MOVING not in result.runs:
        return ""
    moving, wanted = result.median(MOVING), seconds_wanted(result)
    share = f"{moving / result.median(ORKAN):.2f}"
    return f"{share} ({moving / wanted:.2f})" if wanted else share


def memory_limit(result: Result) -> float:
    """What the peak may be, in bytes; 0 where there is no limit."""
    task = result.case.task
    if not result.case.bounded:
        return 0
    large = result.size / result.records >= LARGE_RECORD
    if task.memory:
        return EXTERNAL[large] * task.memory * MIB
    return IN_MEMORY[large] * (result.size + 8 * result.records)


def judgements(result: Result) -> dict[str, Judgement]:
    """Of one case, by column. Ratios are ratios of medians."""
    own, targets = result.median(ORKAN), result.case.targets
    judged = {}
    if result.peers():
        judged["peer"] = Judgement("best peer", result.median(result.best_peer()) / own, targets.peer, True)
    if SORT in result.runs:
        judged["sort"] = Judgement("sort", result.median(SORT) / own, targets.sort, True)
    if CAT in result.runs:
        judged["cat"] = Judgement("cat", own / result.median(CAT), targets.cat, False)
    if f"{ORKAN}, stable" in result.runs:
        judged["stable"] = Judgement("stable", result.median(f"{ORKAN}, stable") / own, targets.stable, False)
    limit = memory_limit(result)
    if limit:
        judged["memory"] = Judgement("memory", result.peak(ORKAN) / limit, 1.0, False)
    return judged


def growth(results: list[Result], series: str) -> Judgement | None:
    """How much the time per byte grows in a series."""
    costs = [result.median(ORKAN) / result.size for result in results if result.case.series == series]
    return Judgement("growth", max(costs[1:]) / costs[0], GROWTH, False) if len(costs) > 1 else None


def row(*cells: str) -> str:
    return "| " + " | ".join(cells) + " |"


def heading(*cells: str) -> list[str]:
    return [row(*cells), "|" + "---|" * len(cells)]


def seconds(value: float) -> str:
    return f"{value:.3f}" if value >= 0.1 else f"{value:.4f}"


def text_table(result: Result) -> str:
    own = result.median(ORKAN)
    lines = [f"\n{result.case.name}: {result.case.title}, {result.size / 1e6:.1f} MB"]
    lines += [f"{'tool':24}{'median s':>10}{'best s':>9}{'cpu s':>8}{'MB/s':>8}{'peak MB':>9}{'/ orkan':>9}{'runs':>6}"]
    for tool, runs in result.runs.items():
        median, best = result.median(tool), result.best(tool)
        lines += [
            f"{tool:24}{seconds(median):>10}{seconds(best.seconds):>9}{best.processor_seconds:8.2f}"
            f"{result.size / median / 1e6:8.0f}{result.peak(tool) / 1e6:9.0f}{median / own:9.2f}{len(runs):6}"
        ]
    lines += [f"{tool:24}left out: {reason}" for tool, reason in result.left_out.items()]
    verdicts = [f"{judgement.what} {judgement.text()}" for judgement in judgements(result).values()]
    return "\n".join([*lines, "outputs verified; " + ", ".join(verdicts)])


def all_judgements(results: list[Result]) -> list[tuple[str, Judgement]]:
    judged = [(result.case.name, judgement) for result in results for judgement in judgements(result).values()]
    for series in sorted({result.case.series for result in results} - {"", "tiny"}):
        grown = growth(results, series)
        judged += [(series, grown)] if grown else []
    return judged


def summary(results: list[Result]) -> str:
    judged = [pair for pair in all_judgements(results) if pair[1].bound]
    missed = [f"{name}: {judgement.what} {judgement.text()}" for name, judgement in judged if not judgement.good()]
    return "\n".join(["", f"{len(judged) - len(missed)} of {len(judged)} targets reached", *missed])


def workload_table(results: list[Result]) -> list[str]:
    columns = ["workload", "MB", "orkan s (best)", "MB/s", "best peer", "times as fast", "than `sort`, 1 thread"]
    lines = heading(*columns, "/ `cat`", "stable / plain", "peak / limit", "moving alone", "targets")
    for result in results:
        judged = judgements(result)
        columns = ("peer", "sort", "cat", "stable", "memory")
        cells = [judged[column].text() if column in judged else "" for column in columns]
        median, peer = result.median(ORKAN), result.best_peer()
        lines += [
            row(
                result.case.title,
                f"{result.size / 1e6:.0f}",
                f"{seconds(median)} ({seconds(result.best(ORKAN).seconds)})",
                f"{result.size / median / 1e6:.0f}",
                f"{peer} {seconds(result.median(peer))} s" if peer else "",
                *cells,
                moving_text(result),
                "pass" if all(judgement.good() for judgement in judged.values()) else "**miss**",
            )
        ]
    return lines


def scaling_table(results: list[Result]) -> list[str]:
    columns = ["data", "records", "orkan s (best)", "ns per byte", "best peer", "times as fast"]
    lines = heading(*columns, "largest / smallest")
    for result in results:
        series = [other for other in results if other.case.series == result.case.series]
        grown = growth(results, result.case.series) if result is series[-1] else None
        median, peer = result.median(ORKAN), result.best_peer()
        lines += [
            row(
                result.case.series,
                f"{result.records:,}",
                f"{seconds(median)} ({seconds(result.best(ORKAN).seconds)})",
                f"{median / result.size * 1e9:.2f}",
                f"{peer} {seconds(result.median(peer))} s" if peer else "",
                f"{result.median(peer) / median:.2f}" if peer else "",
                grown.text() if grown else "",
            )
        ]
    return lines


def tiny_table(results: list[Result]) -> list[str]:
    lines = heading("lines", "orkan ms", "`sort` ms", "times as fast", "runs")
    for result in results:
        peer = f"{result.median(SORT) * 1e3:.2f}" if SORT in result.runs else ""
        judged = judgements(result).get("peer")
        own = f"{result.median(ORKAN) * 1e3:.2f}"
        lines += [row(f"{result.records:,}", own, peer, judged.text() if judged else "", str(len(result.runs[ORKAN])))]
    return lines


def tools_table(results: list[Result]) -> list[str]:
    lines = heading("case", "tool", "median s", "best s", "cpu s", "MB/s", "peak MB", "/ orkan", "runs")
    for result in results:
        for tool, runs in result.runs.items():
            median, best = result.median(tool), result.best(tool)
            speed, cost = result.size / median / 1e6, median / result.median(ORKAN)
            cells = [seconds(median), seconds(best.seconds), f"{best.processor_seconds:.2f}", f"{speed:.0f}"]
            cells += [f"{result.peak(tool) / 1e6:.0f}", f"{cost:.2f}", str(len(runs))]
            lines += [row(result.case.name, tool, *cells)]
        for tool, reason in result.left_out.items():
            lines += [row(result.case.name, tool, f"left out: {reason}", *[""] * 6)]
    return lines


def markdown(results: list[Result], machine: list[str], scale: float, runs: int) -> str:
    workloads = [result for result in results if not result.case.series]
    scaling = [result for result in results if result.case.series not in ("", "tiny")]
    tiny = [result for result in results if result.case.series == "tiny"]
    lines = [f"    $ {' '.join(['bench/run', *sys.argv[1:]])}", *(f"    {line}" for line in machine), ""]
    if scale != 1:
        lines += [f"**Trial run with {scale:g} of the records; the targets are for all of them.**", ""]
    lines += [f"Medians of {runs} interleaved runs, all outputs verified. Targets in brackets.", ""]
    lines += [MOVING_EXPLAINED, ""]
    if workloads:
        lines += ["### Workloads", "", *workload_table(workloads), ""]
    if scaling:
        lines += ["### Scaling", "", *scaling_table(scaling), ""]
    if tiny:
        lines += ["### Small inputs", "", *tiny_table(tiny), ""]
    lines += ["### All tools", "", *tools_table(workloads + scaling + tiny), ""]
    judged = [judgement for _, judgement in all_judgements(results) if judgement.bound]
    reached = sum(judgement.good() for judgement in judged)
    return "\n".join([*lines, f"{reached} of {len(judged)} targets reached."]) + "\n"


def line_of(path: str, name: str) -> str:
    """The value of "name : value" in a file of /proc."""
    with open(path, encoding="ascii", errors="replace") as file:
        return next((line.split(":", 1)[1].strip() for line in file if line.startswith(name)), "")


def machine(folder: str, versions: list[str], absent: dict[str, str]) -> list[str]:
    cpu = line_of("/proc/cpuinfo", "model name") or platform.machine()
    memory = int((line_of("/proc/meminfo", "MemTotal") or "0").split()[0]) / MIB
    system = subprocess.run(["stat", "-f", "-c", "%T", folder], capture_output=True, text=True, check=True).stdout
    release = platform.release().split("-")[0]
    lines = [f"{os.cpu_count()} x {cpu}, {memory:.0f} GiB memory, Linux {release}, {system.strip()}"]
    lines += ["peers: " + "; ".join(versions)]
    return lines + [f"absent: {name} ({reason})" for name, reason in absent.items()]
