"""framegrab's exact values, of every kind of format that the driver has."""

import json

from harness import FORMATS, grab, run


def test_files_hold_every_value_that_was_drawn(tmp_path):
    outcome = grab(tmp_path, "-targets -format exr -buffers color,depth,stencil", [FORMATS])
    assert outcome.status == 0, outcome.errors
    checked = run([FORMATS, tmp_path])
    assert checked.status == 0, checked.output + checked.errors
    assert {"GL_RGBA16F ABGR", "GL_RGB565 BGR", "GL_R11F_G11F_B10F BGR", "GL_RGBA32I ABGR", "GL_R32UI R",
            "GL_DEPTH24_STENCIL8 Z", "GL_DEPTH24_STENCIL8 S"} <= {*checked.output.splitlines()}

    files = json.loads((tmp_path / "manifest.json").read_text())["files"]
    assert {"GL_RGB10_A2", "GL_SRGB8_ALPHA8", "GL_RGBA8"} <= {file["internalFormat"] for file in files}
    assert ", R16G16B16A16 float, " in (tmp_path / "index.html").read_text()
    assert all((tmp_path / file["values"]).stat().st_size == file["valuesBytes"] for file in files)
