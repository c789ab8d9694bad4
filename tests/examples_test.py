"""The examples that take pictures, and the one that is a host itself."""

import os
import subprocess

from PIL import Image

BIN = os.environ["UTIL_BIN"]


def test_a_picture_written_on_another_thread_is_the_same(tmp_path):
    for program in ("Screenshot", "WritingThread"):
        subprocess.run([f"{BIN}/{program}", tmp_path / program], check=True)
    names = {path.name for path in tmp_path.iterdir()}
    assert names == {f"Screenshot{suffix}.png" for suffix in ("", "_depth", "_stencil", "_small")} | {
        f"WritingThread{frame}{suffix}.png" for frame in range(10) for suffix in ("", "_depth")}
    for suffix in ("", "_depth"):
        expected = (tmp_path / f"Screenshot{suffix}.png").read_bytes()
        for frame in range(10):
            assert (tmp_path / f"WritingThread{frame}{suffix}.png").read_bytes() == expected


def test_a_host_of_its_own_gets_files_and_messages(tmp_path):
    subprocess.run([f"{BIN}/OwnHost", tmp_path / "picture"], check=True)
    with Image.open(tmp_path / "picture.bmp") as image:
        assert [image.getpixel(at)[:3] for at in ((0, 1), (1, 1), (0, 0))] == [(255, 0, 0), (0, 255, 0), (0, 0, 255)]
    outcome = subprocess.run([f"{BIN}/OwnHost", tmp_path / "no/picture"], capture_output=True, text=True)
    assert outcome.returncode == 1 and "Could not create image file" in outcome.stderr
