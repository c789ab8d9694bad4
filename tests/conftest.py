import os
import pathlib
import tempfile

import pytest

os.environ.setdefault("UTIL_BIN", str(pathlib.Path(__file__).parents[1] / "build/release/bin"))


@pytest.hookimpl(tryfirst=True)
def pytest_configure(config):
    """Writes the results to a new file in the folder PYTEST_RESULTS, as gtest does with GTEST_OUTPUT."""
    if folder := os.environ.get("PYTEST_RESULTS"):
        config.option.xmlpath = tempfile.mkstemp(".xml", dir=folder)[1]
