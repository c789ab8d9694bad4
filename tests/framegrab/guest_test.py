"""framegrab in the company of programs that crash, forbid themselves things, or have what it has."""

import os
import random
import re
import signal
import time

import pytest
from harness import (LIMIT, STEPS, apart, cases, colors, command, finish, grab, picture, pictures, run, started,
                     wait_for)

NAMES, LIBRARIES, HOSTING = (f"{os.environ['UTIL_BIN']}/framegrab_{name}" for name in
                             ("names", "libraries", "hosting"))
RED, BLUE = (255, 0, 0, 255), (0, 0, 255, 255)
KILLS = int(os.environ.get("FRAMEGRAB_KILLS", 3))  # more of them find more, and take as much longer


def frames(count, mark=""):
    return [f"frame{i:06}{mark}.png" for i in range(1, count + 1)]


# -- What is the program's stays the program's --------------------------------------------------------------

@cases("program, answer", {"itself": (NAMES, "1"), "in its libraries": (LIBRARIES, "2")})
def test_functions_are_not_called_that_the_program_has(tmp_path, program, answer):
    outcome = grab(tmp_path, "-buffers color,depth -thumbnail 8x8",
                   [program, *"context clear:ff0000ff swap print-answer".split()],
                   env=os.environ | {"MESA_SHADER_CACHE_DISABLE": "true"})  # the driver's own use of zlib
    assert (outcome.status, outcome.output) == (0, answer), outcome.errors
    assert len(pictures(tmp_path)) == 4 and colors(tmp_path / "frame000001.png") == {RED}


def test_takes_functions_of_the_c_library_alone(tmp_path):
    program = ["env", "LD_DEBUG=bindings", f"LD_DEBUG_OUTPUT={tmp_path}/bindings", STEPS, "context", "swap"]
    assert grab(tmp_path / "out", "", program).status == 0
    text = "".join(file.read_text(errors="replace") for file in tmp_path.glob("bindings.*"))
    taken = re.findall(r"binding file \S*libframegrab-capture.so \S+ to (\S+) ", text)
    names = {os.path.basename(library).split(".so")[0].split("-linux")[0] for library in taken}
    assert taken and names <= {"libc", "libm", "ld", "libframegrab-capture", "libframegrab-hooks"}  # which has dlsym


def test_a_host_of_the_library_keeps_its_log_and_its_settings(tmp_path):
    program = [HOSTING, tmp_path / "mine.log", *"context clear:ff000080 swap:2".split()]
    outcome = grab(tmp_path / "out", "-frames 1-2 -loglevel 5", program)
    assert outcome.status == 0, outcome.errors
    assert outcome.output == "mine\nopaque 1, encoding 0\n"
    assert (tmp_path / "mine.log").read_text() == "mine\n"
    assert colors(tmp_path / "out/frame000001.png") == {(255, 0, 0, 128)}
    assert "frame 2 captured" in (tmp_path / "out/framegrab.log").read_text()


# -- From the first swap on there is only memory ------------------------------------------------------------

@cases("step", {
    "closes files": "close-files",
    "changes its root": "chroot:/proc",
    "changes its user": "user:65534",
    "forbids itself to open files": "forbid-files",
})
def test_captures_to_the_end_a_program_that(tmp_path, step):
    if os.geteuid() != 0 and re.match("chroot|user", step):
        pytest.skip("needs to be root")
    outcome = grab(tmp_path, "-frames 1-9", f"context clear:ff0000ff swap {step} swap:8")
    assert outcome.status == 0, outcome.errors
    assert pictures(tmp_path) == frames(9)


def test_process_numbers_may_be_of_another_namespace(tmp_path):
    program = [*apart("--pid", "--fork"), STEPS, *"context clear:ff0000ff swap:9".split()]
    outcome = grab(tmp_path, "-frames 1-9", program)
    assert (outcome.status, pictures(tmp_path)) == (0, frames(9)), outcome.errors


@cases("options, program, said", {
    "no address space": ("-memory 2000",
                         ["sh", "-c", f"{STEPS} context swap; ulimit -v 1500000; {STEPS} context swap print:goes-on"],
                         "the memory that framegrab shares cannot be mapped: Cannot allocate memory"),
    "a picture larger than all memory": ("-memory 1", "size:1024 context swap print:goes-on",
                                         "a picture takes 4 MiB, which is more than -memory allows"),
})
def test_says_what_cannot_be_captured_for_want_of_memory(tmp_path, options, program, said):
    outcome = grab(tmp_path, options, program)
    assert (outcome.status, outcome.output) == (1, "goes-on"), outcome.errors
    assert outcome.said.count(said) == 1


def test_more_memory_than_there_is_starts_nothing(tmp_path):
    outcome = grab(tmp_path / "out", "-memory 1000000", "print:started")
    assert (outcome.status, outcome.output) == (1, "")
    assert "-memory: there is less than that" in outcome.said
    assert not (tmp_path / "out").exists()


def test_pictures_of_all_sizes_share_the_memory(tmp_path):
    sides = [64, 4096, 300, 2048, 2, 1000]
    steps = " ".join(f"target-size:{side} bind:{i + 1} clear:0000ffff" for i, side in enumerate(sides))
    outcome = grab(tmp_path, "-targets -memory 70", f"context {steps} swap")
    assert outcome.status == 0, outcome.errors
    assert [picture(tmp_path / name).size for name in pictures(tmp_path)[1:]] == [(side, side) for side in sides]


# -- What was read is framegrab's ---------------------------------------------------------------------------

@cases("end, status", {"aborts": ("signal:6", 134), "is killed": ("signal:9", 137), "ends": ("exit:3", 3)})
def test_keeps_what_was_read_of_a_program_that(tmp_path, end, status):
    outcome = grab(tmp_path, "-frames 1-20 -png small -threads 1",
                   f"size:700 context clear:0000ffff swap:20 {end}")
    assert outcome.status == status
    assert pictures(tmp_path) == frames(20)
    assert {*map(tuple, map(colors, tmp_path.glob("*.png")))} == {(BLUE,)}


@pytest.mark.parametrize("attempt", range(KILLS))  # with memory for two pictures
def test_a_process_killed_at_any_moment_holds_up_no_other(tmp_path, attempt):
    script = (f"{STEPS} size:360 context clear:ff0000ff swap:9999 pause & echo $!;"
              f"{STEPS} size:360 context clear:0000ffff swap:60 print:done; wait")
    with started(command(tmp_path, "-frames 1-60 -memory 1", ["sh", "-c", script])) as framegrab:
        victim = int(framegrab.stdout.readline())
        wait_for(lambda: any(tmp_path.glob("*.png")))
        time.sleep(random.uniform(0, 0.1))
        os.kill(victim, signal.SIGKILL)
        outcome = finish(framegrab)
    assert outcome.output == "done", outcome.errors
    found = [next(iter(colors(tmp_path / name))) for name in pictures(tmp_path)]
    assert {*found} <= {RED, BLUE} and found.count(BLUE) == 60


def test_stopped_it_loses_nothing(tmp_path):
    with started(command(tmp_path, "-frames 1-100 -memory 2", "size:256 context swap:120 print:done")) as framegrab:
        wait_for(lambda: any(tmp_path.glob("*.png")))
        framegrab.send_signal(signal.SIGSTOP)
        time.sleep(1)
        framegrab.send_signal(signal.SIGCONT)
        outcome = finish(framegrab)
    assert (outcome.status, outcome.output) == (0, "done"), outcome.errors
    assert pictures(tmp_path) == frames(100)


@pytest.mark.parametrize("isStopped", [False, True], ids=["running", "stopped, and memory full"])
def test_killed_it_lets_the_program_go_on(tmp_path, isStopped):
    with started(command(tmp_path, "-frames 1- -memory 1", "size:256 context swap:3000 print:goes-on")) as framegrab:
        wait_for(lambda: any(tmp_path.glob("*.png")))
        if isStopped:
            framegrab.send_signal(signal.SIGSTOP)
            time.sleep(0.5)
        start = time.monotonic()
        framegrab.kill()
        assert finish(framegrab).output == "goes-on"
        assert time.monotonic() - start < LIMIT / 4
    assert {picture(tmp_path / name).size for name in pictures(tmp_path)[:-1]} <= {(256, 256)}


def test_a_second_interrupt_gives_up_what_is_not_written(tmp_path):
    words = command(tmp_path, "-frames 1- -png small -threads 1", "size:1000 context quadrants swap:30 print:done")
    with started(words) as framegrab:
        wait_for(lambda: any(tmp_path.glob("*.png")))
        framegrab.send_signal(signal.SIGSTOP)  # so that the rest is read, but not written
        assert framegrab.stdout.read(4) == b"done"
        for sent in (signal.SIGINT, signal.SIGCONT):
            framegrab.send_signal(sent)
        assert any(b"interrupt once more" in line for line in framegrab.stderr)
        time.sleep(0.1)  # what comes at once is the same interrupt
        framegrab.send_signal(signal.SIGINT)
        outcome = finish(framegrab)
    given_up = int(re.search(r"given up: (\d+) pictures that were read are not written", outcome.said)[1])
    assert outcome.status != 0 and given_up + len(pictures(tmp_path)) == 30
