"""The reader for Python on a short run of examples/schools. Arguments: the program, the root of the sources, a
folder to work in."""

import importlib.util
import os
import shutil
import sys

import numpy as np

program, root, work = sys.argv[1:4]
os.makedirs(work, exist_ok=True)
spec = importlib.util.spec_from_file_location("tovik", os.path.join(root, "share", "tovik", "tovik.py"))
tovik = importlib.util.module_from_spec(spec)
spec.loader.exec_module(tovik)


def path(name):
    return os.path.join(work, name)


def write(name, text):
    with open(path(name), "w", encoding="utf-8") as out:
        out.write(text)


shutil.copy(os.path.join(root, "examples", "schools", "schools.csv"), path("schools.csv"))
COMMANDS = """DATA: schools.csv; MISSING: NA; CLUSTERID: school; ORDINAL: books;
MODEL: score ~ ses books climate female;
SEED: 90291; BURN: 500; ITERATIONS: 1000; NIMPS: 5;
OPTIONS: keeprows savevarnames;
SAVE: stacked0 = all.csv, draws = draws.csv, table = table.csv;
"""
write("run.tovik", COMMANDS)
assert "OUTCOME MODEL ESTIMATES" in tovik.run(path("run.tovik"), program=program)
write("wrong.tovik", COMMANDS.replace("books climate", "pages climate"))
try:
    tovik.run(path("wrong.tovik"), program=program)
    raise AssertionError("An error did not come.")
except RuntimeError as fault:
    assert "pages" in str(fault), fault

data = tovik._columns(path("schools.csv"), ("NA",))
names, cells = data
sets = tovik.stacked(path("all.csv"))
assert sorted(sets) == [0, 1, 2, 3, 4, 5]
for j, name in enumerate(names):
    np.testing.assert_array_equal(sets[0][name], cells[:, j])
    seen = ~np.isnan(cells[:, j])
    for one in tovik.imputed(path("all.csv")):
        np.testing.assert_array_equal(one[name][seen], cells[seen, j])
        assert not np.isnan(one[name]).any()

draws = tovik.draws(path("draws.csv"))
table = tovik.table(path("table.csv"))
assert [row["parameter"] for row in table] == list(draws)
for row in table:
    values = draws[row["parameter"]]
    assert values.shape == (2, 500)
    spread = values.std(ddof=1)
    scale = max(abs(values.mean()), spread, 1e-300)
    assert abs(values.mean() - row["mean"]) <= 1e-8 * scale, row
    assert abs(np.median(values) - row["median"]) <= 1e-8 * scale, row
    assert abs(spread - row["sd"]) <= 1e-8 * scale, row

# Rubin's rules on numbers that can be followed by hand.
estimate, error, df = tovik.pool([[1.0], [3.0]], [[2.0], [4.0]])
assert estimate == 2.0 and np.isclose(error, np.sqrt(3 + 1.5 * 2)) and np.isclose(df, (1 + 3 / 3.0) ** 2)
assert tovik.pool([[1.0], [1.0]], [[2.0], [2.0]])[2] == np.inf
print("The reader for Python reads what the program writes.")
