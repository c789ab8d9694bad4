"""The examples that take pictures: both show the same frame, written on its own thread or not."""

import os
import subprocess

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
