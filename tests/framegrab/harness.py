"""Runs framegrab on programs and terminals, and reads what it leaves behind."""

import contextlib
import os
import pty
import signal
import subprocess
import time
from html.parser import HTMLParser
from types import SimpleNamespace

import pytest
from PIL import Image

FRAMEGRAB, STEPS, PLUGIN, STATIC, WINDOW, FORMATS = (
    f"{os.environ['UTIL_BIN']}/framegrab{name}" for name in
    ("", "_linked", "_plugin", "_static", "_window", "_formats"))
LIMIT = 120  # seconds; what is not over by then hangs


def cases(names, rows):
    """Runs a test for each row of a table, which has the names of the rows as keys."""
    return pytest.mark.parametrize(names, rows.values(), ids=rows)


# -- Processes ----------------------------------------------------------------------------------------------

def command(folder, options, program):
    """framegrab's command line. A text as the program stands for steps."""
    output = ["-output", folder] if folder else []
    words = [STEPS, *program.split()] if isinstance(program, str) else program
    return [FRAMEGRAB, *output, *options.split(), "--", *words]


@contextlib.contextmanager
def started(words, **settings):
    """A process. At the end, it and all that it has started are killed."""
    settings = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE} | settings
    with subprocess.Popen(words, start_new_session=True, **settings) as process:
        try:
            yield process
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)


def finish(process, given=b""):
    """Waits until the process and all others that have its output open have ended.

    What framegrab itself says is among the errors; the program's own may stand between."""
    output, errors = map(os.fsdecode, process.communicate(given, LIMIT))
    said = "".join(line for line in errors.splitlines(True) if line.startswith("framegrab: "))
    return SimpleNamespace(status=process.returncode, output=output, errors=errors, said=said)


def run(words, given=b"", **settings):
    with started(words, **settings) as process:
        return finish(process, given)


def apart(*options):
    """Words before a command that give it namespaces of its own. Not every system lets everybody have them."""
    words = ["unshare", "--user", *options]
    if run([*words, "true"]).status != 0:
        pytest.skip("may not make namespaces")
    return words


def grab(folder, options, program, **settings):
    return run(command(folder, options, program), **settings)


def wait_for(condition):
    """Asks again and again, until the answer is yes."""
    end = time.monotonic() + LIMIT
    while not (answer := condition()) and time.monotonic() < end:
        time.sleep(0.01)
    return answer


class Terminal:
    """What a process writes to a terminal."""

    def __init__(self, process, reader):
        self.process, self.reader, self.text = process, reader, ""

    def read(self):
        with contextlib.suppress(OSError):  # nobody has the other end open any more
            while piece := self.reader.read(4096):
                self.text += os.fsdecode(piece)
        return self.text

    def wait(self):
        """The exit status of the process, which would not end while the terminal is full."""
        wait_for(lambda: self.read() and self.process.poll() is not None)
        self.read()
        return self.process.returncode


@contextlib.contextmanager
def on_terminal(words, **settings):
    outside, inside = pty.openpty()
    os.set_blocking(outside, False)
    with (open(outside, "rb", 0) as reader,
          started(words, stdout=inside, stderr=inside, **settings) as process):
        os.close(inside)
        yield Terminal(process, reader)


# -- Files --------------------------------------------------------------------------------------------------

def pictures(folder):
    """The names of all files but the log, the contact sheet, the manifest and one by which a folder is tried."""
    return sorted({file.name for file in folder.glob("[!.]*")} - {"framegrab.log", "index.html", "manifest.json"})


def log(folder):
    file = folder / "framegrab.log"
    return file.read_text() if file.exists() else ""


def picture(file, mode="RGBA"):
    with Image.open(file) as image:
        return image.convert(mode)


def colors(file):
    """All that a picture has, as (red, green, blue, alpha)."""
    image = picture(file)
    return {color for _, color in image.getcolors(image.width * image.height)}


class Page(HTMLParser):
    """A contact sheet: the words before the table, and of each row the words, the links and the images. The
    first row is that of the headings."""

    def __init__(self, folder):
        super().__init__()
        self.html = (folder / "index.html").read_text("utf-8")
        self.words, self.rows = [], []
        self.feed(self.html)

    def handle_starttag(self, tag, attributes):
        values = dict(attributes)
        if tag == "tr":
            self.rows.append(SimpleNamespace(words=[], links=[], images=[]))
        elif tag == "img":
            assert values["alt"].startswith("Frame ")
            self.rows[-1].images.append(values["src"])
        elif tag == "a" and not values["href"].startswith("#"):
            self.rows[-1].links.append(values["href"])

    def handle_data(self, data):
        if data.strip():
            (self.rows[-1] if self.rows else self).words.append(data.strip())
