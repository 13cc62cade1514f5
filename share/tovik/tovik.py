"""Tovik's files in Python: runs, imputed data sets, draws, tables, and four plots.

Needs NumPy. Plots need matplotlib and to_arviz() ArviZ; both are imported where they are used.

    import tovik
    tovik.run("analysis.tovik")
    sets = tovik.imputed("imps.csv")        # SAVE: stacked = imps.csv
    draws = tovik.draws("draws.csv")        # SAVE: draws = draws.csv
"""

import csv
import glob
import os
import subprocess

import numpy as np

INDICES = (".chain", ".iteration", ".draw")


def run(command_file, options=(), program="tovik"):
    """Runs a command file and returns its report. Raises RuntimeError with the program's own text.

    options: further words of the command line, as ["--seed", "7"].
    """
    if not os.path.exists(command_file):
        raise FileNotFoundError(command_file)
    done = subprocess.run([program, command_file, *options], capture_output=True, text=True)
    if done.returncode != 0:
        told = done.stdout + done.stderr
        at = max(told.rfind("ERROR"), 0)
        raise RuntimeError(f"Tovik ended with status {done.returncode}.\n{told[at:]}")
    return done.stdout


def _columns(path, na):
    """Names and a matrix of a file of numbers with names at its head."""
    with open(path, newline="", encoding="utf-8") as lines:
        reader = csv.reader(lines)
        names = next(reader)
        rows = [[np.nan if cell.strip() in na else float(cell) for cell in row] for row in reader if row]
    return names, np.array(rows, dtype=float).reshape(len(rows), len(names))


def stacked(path, na=("NA",)):
    """The data sets of SAVE: stacked or stacked0 by their number: {1: {"y": array, ...}, ...}.

    Number 0, of stacked0, is the incomplete data, with NaN in missing cells.
    """
    names, cells = _columns(path, na)
    if names[0] != "imp#":
        raise ValueError(f"'{path}' is no file of SAVE: stacked or stacked0 with names at its head.")
    out = {}
    for number in np.unique(cells[:, 0]).astype(int):
        here = cells[:, 0] == number
        out[int(number)] = {name: cells[here, j] for j, name in enumerate(names) if j > 0}
    return out


def imputed(path, na=("NA",)):
    """A list of the completed data sets, each a dict of arrays."""
    sets = stacked(path, na)
    return [sets[number] for number in sorted(sets) if number > 0]


def pool(estimates, variances):
    """Rubin's rules: pooled estimates, standard errors and degrees of freedom.

    estimates, variances: one row a data set, one column a parameter. Rubin (1987), Multiple Imputation for
    Nonresponse in Surveys.
    """
    estimates = np.atleast_2d(np.asarray(estimates, dtype=float))
    variances = np.atleast_2d(np.asarray(variances, dtype=float))
    m = estimates.shape[0]
    if m < 2 or variances.shape != estimates.shape:
        raise ValueError("Two data sets at the least, and a variance for each estimate.")
    within = variances.mean(axis=0)
    between = estimates.var(axis=0, ddof=1)
    total = within + (1 + 1 / m) * between
    with np.errstate(divide="ignore"):
        df = (m - 1) * (1 + within / ((1 + 1 / m) * between)) ** 2
    return estimates.mean(axis=0), np.sqrt(total), df


def draws(path):
    """The draws of SAVE: draws: a dict of arrays, chains x iterations each. path may hold * (a file a chain)."""
    paths = sorted(glob.glob(path)) if "*" in os.path.basename(path) else [path]
    if not paths:
        raise FileNotFoundError(path)
    names, parts = None, []
    for one in paths:
        head, cells = _columns(one, ("NA", "NaN", "nan"))
        if tuple(head[:3]) != INDICES or (names is not None and head != names):
            raise ValueError(f"'{one}' is no file of SAVE: draws.")
        names = head
        parts.append(cells)
    cells = np.vstack(parts)
    chains = np.unique(cells[:, 0])
    by_chain = [cells[cells[:, 0] == chain] for chain in chains]
    length = min(len(part) for part in by_chain)
    return {name: np.stack([part[:length, j] for part in by_chain]) for j, name in enumerate(names) if j > 2}


def table(path):
    """The rows of SAVE: table as a list of dicts; what looks like a number is one, empty cells are None."""

    def value(text):
        if text in ("", "NA"):
            return None
        try:
            return float(text)
        except ValueError:
            return text

    texts = ("block", "outcome", "dummy", "section", "parameter", "label")
    with open(path, newline="", encoding="utf-8") as lines:
        return [
            {key: (cell or None) if key in texts else value(cell) for key, cell in row.items()}
            for row in csv.DictReader(lines)
        ]


def to_arviz(path):
    """The draws of SAVE: draws as ArviZ's InferenceData."""
    import arviz

    return arviz.from_dict(posterior=draws(path))


def _panels(n):
    import matplotlib.pyplot as plt

    columns = int(np.ceil(np.sqrt(n)))
    rows = int(np.ceil(n / columns))
    figure, axes = plt.subplots(rows, columns, squeeze=False, figsize=(4 * columns, 3 * rows), constrained_layout=True)
    for spare in axes.flat[n:]:
        spare.set_visible(False)
    return figure, list(axes.flat[:n])


def plot_trace(draws, parameters=None):
    """Draws by iteration, a line for each chain. draws: of draws()."""
    parameters = list(parameters or draws)
    figure, axes = _panels(len(parameters))
    for axis, name in zip(axes, parameters):
        axis.plot(draws[name].T, linewidth=0.5)
        axis.set(title=name, xlabel="iteration")
    return figure


def plot_density(draws, parameters=None):
    """Histograms of the draws, a line for each chain."""
    parameters = list(parameters or draws)
    figure, axes = _panels(len(parameters))
    for axis, name in zip(axes, parameters):
        for chain in draws[name]:
            axis.hist(chain, bins="auto", density=True, histtype="step")
        axis.set_title(name)
    return figure


def plot_effects(table, outcome=None, section="Coefficients"):
    """Medians and 95% intervals of the coefficients in a table of table()."""
    rows = [row for row in table if row["section"] == section and row["q2.5"] is not None]
    rows = [row for row in rows if outcome is None or row["outcome"] == outcome]
    if not rows:
        raise ValueError("The table has no such rows.")
    figure, (axis,) = _panels(1)
    at = np.arange(len(rows))[::-1]
    axis.hlines(at, [row["q2.5"] for row in rows], [row["q97.5"] for row in rows])
    axis.plot([row["median"] for row in rows], at, "o")
    axis.axvline(0, linestyle=":")
    axis.set_yticks(at, [row["parameter"] for row in rows])
    return figure


def plot_imputed(path, variable, sets=5, na=("NA",)):
    """Observed values of a variable (thick) against imputed ones. path: of SAVE: stacked0."""
    all_sets = stacked(path, na)
    if 0 not in all_sets:
        raise ValueError(f"'{path}' holds no incomplete data: save it with stacked0.")
    cells = all_sets[0][variable]
    gone = np.isnan(cells)
    figure, (axis,) = _panels(1)
    axis.hist(cells[~gone], bins="auto", density=True, histtype="step", linewidth=2)
    for number in [number for number in sorted(all_sets) if number > 0][:sets]:
        axis.hist(all_sets[number][variable][gone], bins="auto", density=True, histtype="step", linewidth=0.5)
    axis.set(title="observed (thick) and imputed", xlabel=variable)
    return figure
