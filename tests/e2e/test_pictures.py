"""The pictures of the documents are what their scripts draw now."""

import glob
import importlib.util
import os

import pytest
from support.shell import ROOT

PICTURES = os.path.join(ROOT, "docs", "pictures")
BENCH = os.path.join(ROOT, "bench")


def script(name, folder=PICTURES):
    path = os.path.join(folder, f"draw_{name}.py")
    spec = importlib.util.spec_from_file_location(f"draw_{name}", path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


def committed(name, folder=PICTURES):
    with open(os.path.join(folder, f"{name}.svg"), encoding="utf-8") as picture:
        return picture.read()


def test_the_session(machine):
    draw = script("session")
    assert draw.drawing(draw.screen_after(machine)) == committed("session")


def test_the_way_of_a_request():
    draw = script("request")
    assert draw.drawing() == committed("request")
    heads = {head for _, boxes in draw.ROWS for head, _ in boxes}
    places = heads - set(draw.OUTSIDE)
    assert len(places) > 6
    for place in places:
        assert glob.glob(os.path.join(ROOT, f"{place}*")), place


def test_how_times_grow():
    draw = script("growth", BENCH)
    assert draw.drawing(draw.kept()) == committed("growth", BENCH)
    with open(os.path.join(BENCH, "README.md"), encoding="utf-8") as readme:
        assert "](growth.svg)" in readme.read()


@pytest.mark.parametrize("name", ["session", "request"])
def test_the_readme_shows_it(name):
    with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as readme:
        assert f"](docs/pictures/{name}.svg)" in readme.read()
