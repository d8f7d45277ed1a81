"""The plots of a run, as SVG files."""
import re
import statistics

import matplotlib

matplotlib.use("svg")
from matplotlib import pyplot

from figures import FLOOR, LIBRARY, key_of, ratios

matplotlib.rcParams.update({"svg.hashsalt": "zelo", "svg.fonttype": "none", "axes.grid": True, "figure.figsize": (7.5, 4)})


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)
    # The gate on texts wants no blanks at line ends.
    path.write_text(re.sub(r"[ \t]+$", "", path.read_text(), flags=re.MULTILINE))


def plot_sides(results, path):
    works = [work for work in results["side_by_side"] if FLOOR in next(iter(results["side_by_side"][work].values()))]
    names = [LIBRARY, "sd-bus", "libdbus", "ZeroMQ", "nng"]
    figure, axes = pyplot.subplots(figsize=(7.5, 5))
    height = 0.8 / len(names)
    for index, name in enumerate(names):
        places, medians = [], []
        for row, work in enumerate(works):
            contenders = results["side_by_side"][work].get("two") or results["side_by_side"][work]["free"]
            figures = ratios(contenders.get(name, []), contenders[FLOOR], key_of(contenders[FLOOR]))
            if figures:
                places.append(row + index * height)
                medians.append(statistics.median(figures))
        axes.barh(places, medians, height, label=name)
    axes.axvline(1, color="black", linewidth=1)
    axes.set(yticks=[row + 0.3 for row in range(len(works))], yticklabels=works, xscale="log",
             xlabel="ratio to the floor, two cores; less is better")
    axes.invert_yaxis()
    axes.legend(fontsize="small")
    save(figure, path)


def plot_sizes(results, path):
    figure, axes = pyplot.subplots()
    for name, sizes in results["sizes"].items():
        points = [(int(size), statistics.median(1e9 / f["ns"] for f in figures if f))
                  for size, figures in sizes.items() if any(figures)]
        axes.plot(*zip(*points), marker="o", label=name)
    axes.set(xscale="log", yscale="log", xlabel="payload, bytes", ylabel="frames per second")
    axes.legend()
    save(figure, path)


def plot_config(results, path):
    figure, axes = pyplot.subplots()
    points = [(int(length), statistics.median(f["ns"] / 1000 for f in figures if f))
              for length, figures in results["config"].items() if any(figures)]
    axes.plot(*zip(*points), marker="o")
    axes.set(xlabel="bytes in each of the five texts", ylabel="microseconds from a configuration to its last answer",
             ylim=0)
    save(figure, path)


def plot_stalled(results, path):
    figure, axes = pyplot.subplots()
    found = [[f for f in figures if f] for figures in results["stalled"].values()]
    rates = [statistics.median(f["rate"] for f in figures) for figures in found]
    axes.plot(rates, [statistics.median(f["queued"] for f in figures) for figures in found], marker="o",
              label="messages queued")
    axes.plot(rates, [statistics.median(f["resident_kib"] for f in figures) for figures in found], marker="s",
              label="resident growth, KiB")
    axes.set(xscale="log", yscale="symlog", xlabel="requests per second, for half a second", ylim=0)
    axes.legend()
    save(figure, path)


def draw(results, directory):
    directory.mkdir(exist_ok=True)
    for name, plot in {"sides": plot_sides, "sizes": plot_sizes, "configuration": plot_config,
                       "stalled": plot_stalled}.items():
        plot(results, directory / f"{name}.svg")
