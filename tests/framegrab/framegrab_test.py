"""framegrab on packaged programs, and on small ones that do what these do not."""

import json
import os
import re
import signal
import subprocess
from collections import Counter
from datetime import datetime, timezone
from itertools import product
from urllib.parse import quote

import pytest
from harness import (FRAMEGRAB, PLUGIN, STATIC, STEPS, WINDOW, Page, apart, cases, colors, command, finish, grab, log,
                     on_terminal, picture, pictures, run, started, wait_for)
from PIL import ImageGrab

RED, GREEN, BLUE = (255, 0, 0, 255), (0, 255, 0, 255), (0, 0, 255, 255)
WHITE = (255, 255, 255, 255)
DEPTH, STENCIL = (51, 51, 51, 255), (7, 7, 7, 255)  # what the step "clear" leaves


# -- Packaged programs --------------------------------------------------------------------------------------

@pytest.fixture(scope="session")
def display():
    words = ["Xvfb", "-displayfd", "1", "-screen", "0", "1280x1024x24", "-noreset", "-nolisten", "tcp"]
    with started(words, stderr=subprocess.DEVNULL) as server:
        os.environ["DISPLAY"] = ":" + server.stdout.readline().decode().strip()
        yield os.environ["DISPLAY"]
        server.terminate()  # it takes its files away
        server.wait()


def shown(display, title):
    """Size and pixels of a window as the display shows it."""
    window = subprocess.run(["xwininfo", "-name", title], capture_output=True, text=True).stdout
    if "IsViewable" not in window:
        return None
    left, top, width, height = (int(re.search(rf"{name}: +(\d+)", window)[1]) for name in
                                ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height"))
    image = ImageGrab.grab((left, top, left + width, top + height), xdisplay=display)
    return image.size, image.tobytes()


@pytest.mark.parametrize("options", ["-png fast", "-png small", "-format bmp"])
def test_picture_is_what_the_screen_shows(display, tmp_path, options):
    with started(command(tmp_path, f"{options} -loglevel 3", ["es2tri"])) as framegrab:
        assert wait_for(lambda: "frame 1 captured" in log(tmp_path))
        [name] = pictures(tmp_path)
        image = picture(tmp_path / name, "RGB")
        assert wait_for(lambda: shown(display, "OpenGL ES 2.x tri") == (image.size, image.tobytes()))
        assert len(colors(tmp_path / name)) > 1000

        # It has swapped once and waits for events; nothing ends it but a signal.
        framegrab.terminate()
        outcome = finish(framegrab)
    assert outcome.status == 128 + signal.SIGTERM
    assert "framegrab: es2tri was killed by signal 15" in outcome.said
    assert f"{name}  300x300  {(tmp_path / name).stat().st_size} bytes\n" in outcome.said


@pytest.mark.parametrize("size", [(96, 80), (20, 20), (96, 16)])
def test_a_window_may_be_resized(display, tmp_path, size):
    outcome = grab(tmp_path, "-frames 1-4 -buffers color,depth", [WINDOW, *map(str, size)])
    assert outcome.status == 0, outcome.errors
    frames = {"1": ((64, 32), RED), "2": ((64, 32), GREEN), "3": (size, BLUE), "4": (size, WHITE)}
    assert len(pictures(tmp_path)) == 2 * len(frames)
    for frame, (drawn, color) in frames.items():
        for suffix, shown in (("", color), ("_depth", DEPTH)):
            file = tmp_path / f"frame00000{frame}{suffix}.png"
            assert (picture(file).size, colors(file)) == (drawn, {shown}), file


def test_small_png_files_are_smaller_than_those_of_the_fast_default(display, tmp_path):
    sizes = []
    for option in ("", "-png fast", "-png small"):
        assert grab(tmp_path, f"-quit {option}", ["es2tri"]).status == 0
        sizes.append((tmp_path / "frame000001.png").stat().st_size)
    assert min(sizes[:2]) > sizes[2]


@pytest.mark.parametrize("stencil", ["8", "0"])
def test_depth_and_stencil_of_a_program_that_opens_egl_itself(display, tmp_path, stencil):
    program = f"glmark2-es2 -b build -s 320x240 --visual-config depth=24:stencil={stencil}"
    outcome = grab(tmp_path, "-frames 1,5 -buffers color,depth,stencil -quit -timeout 100", program.split())
    assert outcome.status == 0, outcome.errors
    assert "glmark2 2" in outcome.output
    assert outcome.said.count("the surface has no stencil buffer") == (stencil == "0")
    suffixes = ["", "_depth", "_stencil"] if stencil == "8" else ["", "_depth"]
    assert pictures(tmp_path) == [f"frame00000{i}{suffix}.png" for i in "15" for suffix in suffixes]
    for name in ("frame000001.png", "frame000005.png", "frame000005_depth.png"):
        assert picture(tmp_path / name).size == (320, 240)
        assert len(colors(tmp_path / name)) > 50, name
    if stencil == "8":
        assert colors(tmp_path / "frame000005_stencil.png") == {(0, 0, 0, 255)}


def test_timeout_of_frames_without_an_end_leaves_no_half_picture(display, tmp_path):
    # Encoded slowly, so that most of the time there is one on its way.
    program = "glmark2-es2 -b build:duration=60 -s 800x600".split()
    outcome = grab(tmp_path, "-frames 2- -quit -timeout 4 -png small", program)
    assert outcome.status == 0, outcome.errors
    assert "framegrab: ending glmark2-es2 after 4 seconds\n" in outcome.said
    assert f"framegrab: {len(pictures(tmp_path))} file" in outcome.said
    assert {picture(tmp_path / name).size for name in pictures(tmp_path)} == {(800, 600)}


def test_many_frames_in_a_folder_with_the_programs_name_and_the_time(display, tmp_path):
    start = datetime.now(timezone.utc).replace(microsecond=0)
    program = "glmark2-es2 -b build:duration=60 -s 320x240".split()
    words = command(None, "-frames 1-300 -quit -loglevel 3", program)
    with on_terminal(words, cwd=tmp_path, env=os.environ | {"TZ": "ELSEWHERE-7"}) as terminal:
        assert terminal.wait() == 0, terminal.text
    progress, _, report = terminal.text.rpartition(" \r")
    assert re.search(r"framegrab: \d+ of 300 frames, \d+ files?, \d+ bytes\r", progress)
    assert "of 300 frames" not in report and "framegrab: 300 files, " in report
    assert report.count(".png  320x240  ") == 20 and "framegrab: ... 280 files more ...\r\n" in report
    [folder] = tmp_path.iterdir()
    stamp = datetime.strptime(folder.name + "+0000", "glmark2-es2-%Y%m%dT%H%M%SZ%z")
    assert start <= stamp <= datetime.now(timezone.utc)
    assert pictures(folder) == [f"frame{i:06}.png" for i in range(1, 301)]
    assert log(folder).count(" captured in ") == log(folder).count(".png  320x240  ") == 300


def test_folders_named_in_the_same_second_are_two_and_empty_ones_go(tmp_path):
    assert run(command(None, "", ["/no/such"]), cwd=tmp_path).status == 127
    assert not any(tmp_path.iterdir())
    for _ in range(3):
        assert run(command(None, "", "context swap"), cwd=tmp_path).status == 0
    assert [pictures(folder) for folder in tmp_path.iterdir()] == [["frame000001.png"]] * 3


# -- Where a swap can come from -----------------------------------------------------------------------------

@cases("program, steps", {
    "linked": (STEPS, "context"),
    "dlsym": (STEPS, "context find:dlsym"),
    "dlsym in all libraries": (STEPS, "context find:default"),
    "dlsym in the program": (STEPS, "context find:program"),
    "eglGetProcAddress": (STEPS, "context find:proc"),
    "eglGetProcAddress found by dlsym": (STEPS, "context find:proc-of-dlsym"),
    "with damage, KHR": (STEPS, "context find:damage-khr"),
    "with damage, EXT": (STEPS, "context find:damage-ext"),
    "linked by a plugin": (PLUGIN, "context"),
    "dlsym in a plugin": (PLUGIN, "context find:dlsym"),
    "eglGetProcAddress in a plugin": (PLUGIN, "context find:proc"),
    "after all files were closed": (STEPS, "close-files context swap:0 close-files"),
    "from another folder": (STEPS, "chdir:/ context"),
})
def test_sees_every_swap(tmp_path, program, steps):
    steps += " clear:ff0000ff swap clear:0000ffff swap clear:ff0000ff swap"
    outcome = grab(tmp_path, "-frames 2", [program, *steps.split()])
    assert outcome.status == 0, outcome.errors
    assert outcome.output == ""
    assert pictures(tmp_path) == ["frame000002.png"]
    assert colors(tmp_path / "frame000002.png") == {BLUE}


def test_leaves_other_lookups_alone(tmp_path):
    # What comes next depends on which library asks.
    outcome = grab(tmp_path, "", "print-answer context swap", env=os.environ | {"LD_PRELOAD": "libm.so.6"})
    assert outcome.status == 0, outcome.errors
    assert outcome.output == "42"


def test_captures_the_surface_and_leaves_the_bindings(tmp_path):
    steps = "clear:ff0000ff bind:1 bind:2 bind:1 bind-read:2 clear:00ff00ff swap print-bindings"
    outcome = grab(tmp_path, "-buffers color,depth,stencil", f"context {steps}")
    assert outcome.status == 0, outcome.errors
    assert outcome.output == "draw 1 read 2 pack 0 error 0\n"
    assert colors(tmp_path / "frame000001.png") == {RED}
    assert colors(tmp_path / "frame000001_depth.png") == {DEPTH}
    assert colors(tmp_path / "frame000001_stencil.png") == {STENCIL}


@pytest.mark.parametrize("options", ["-buffers depth,stencil", "-thumbnail 8x8", "-targets -buffers depth"])
def test_leaves_pack_state_and_the_error_that_the_program_has_not_asked_for(tmp_path, options):
    outcome = grab(tmp_path, options, "context pack:40 error swap print-bindings print-bindings")
    assert outcome.status == 0, outcome.errors
    assert outcome.output == "draw 0 read 0 pack 40 error 1280\ndraw 0 read 0 pack 40 error 0\n"


@pytest.mark.parametrize("option", ["", "-targets"])
def test_a_thread_may_be_cancelled_while_it_is_captured(tmp_path, option):
    outcome = grab(tmp_path, f"-frames 1- {option}", "context bind:1 clear:ff0000ff cancel print:goes-on")
    assert (outcome.status, outcome.output) == (0, "goes-on"), outcome.errors


WITHOUT_CACHE = os.environ | {"MESA_SHADER_CACHE_DISABLE": "true"}  # in which the driver would write files


@cases("limit, reason", {
    "by a limit": ("ulimit -S -f 1", "File too large"),
    "by a full disk": ("mount -t tmpfs -o size=4k none .", "No space left on device"),  # the manifest's 4k
})
def test_a_file_that_is_cut_short_is_told_and_removed(tmp_path, limit, reason):
    words = command(".", "-format bmp -thumbnail 64x64", "context swap print:goes-on")
    disk = apart("--map-root-user", "--mount") if "mount" in limit else []
    outcome = run([*disk, "sh", "-c", f'{limit} && cd "$PWD" && "$@"; echo " $?" *', "sh", *words],
                  cwd=tmp_path, env=WITHOUT_CACHE)
    assert outcome.output == "goes-on 1 framegrab.log manifest.json\n", outcome.errors
    assert f"thumbnail of the color buffer was not captured whole (status 1): {reason}; the cut" in outcome.said


def test_needs_no_more_descriptors_with_every_frame_and_no_files(tmp_path):
    program = ["sh", "-c", f"ulimit -n 64; ulimit -f 0; {STEPS} context swap:100"]
    outcome = grab(tmp_path, "-frames 1-100", program, env=WITHOUT_CACHE)
    assert outcome.status == 0, outcome.errors
    assert len(pictures(tmp_path)) == 100


@pytest.mark.parametrize("option, alpha", [("", 128), ("-opaque", 255)])
def test_keeps_alpha_or_makes_it_opaque(tmp_path, option, alpha):
    assert grab(tmp_path, option, "context clear:00ff0080 swap").status == 0
    assert colors(tmp_path / "frame000001.png") == {(0, 255, 0, alpha)}


@pytest.mark.parametrize("option", ["", "-targets"])
def test_threads_may_swap_at_the_same_time(tmp_path, option):
    outcome = grab(tmp_path, f"-frames 1- {option}", "context threads:40")
    assert outcome.status == 0, outcome.errors
    found = Counter(("target" in name, *colors(tmp_path / name)) for name in pictures(tmp_path))
    all_colors = product((0, 255), (0, 255), (0, 255), (255,))
    assert found == {(kind, color): 40 for color in all_colors for kind in {False, bool(option)}}


@cases("options, steps, status, files", {
    "each with its own frames":
        ("-frames 1-2", "clear:ff0000ff swap surface:2 clear:00ff00ff swap surface:1 clear:0000ffff swap", 0,
         {"1": RED, "1-w2": GREEN, "2": BLUE}),
    "one of them": ("-windows 2", "clear:ff0000ff swap surface:2 clear:00ff00ff swap", 0, {"1-w2": GREEN}),
    "one that never comes": ("-windows 1,2", "clear:ff0000ff swap", 1, {"1": RED}),
    "a new one with the handle of an old one":
        ("", "clear:ff0000ff swap surface:2 destroy:1 surface:3 clear:00ff00ff swap", 0,
         {"1": RED, "1-w2": GREEN}),
    "until the last frame of the first":
        ("-quit -frames 1-2",
         "surface:2 clear:00ff00ff swap surface:1 clear:ff0000ff swap:2 surface:2 swap pause", 0,
         {"1": GREEN, "1-w2": RED, "2-w2": RED, "2": GREEN}),
    "until the last frame of all named":
        ("-quit -windows 1,2", "clear:ff0000ff swap surface:2 clear:00ff00ff swap pause", 0,
         {"1": RED, "1-w2": GREEN}),
    "targets of the one that is current":
        ("-targets -frames 2",
         "clear:ff0000ff swap surface:2 swap bind:1 clear:ff0000ff bind:0 surface:1 bind:1 clear:00ff00ff bind:0 "
         "surface:3 bind:1 clear:0000ffff bind:0 surface:1 swap", 0,
         {"2-w2_target001_color0": RED, "2_target001_color0": GREEN, "2_target002_color0": BLUE, "2": RED}),
})
def test_windows(tmp_path, options, steps, status, files):
    outcome = grab(tmp_path, options, f"context {steps}")
    assert outcome.status == status, outcome.errors
    found = {name: colors(tmp_path / name) for name in pictures(tmp_path)}
    for name, color in files.items():
        assert found.pop(f"frame00000{name}.png", None) == {color}, name
    assert not found


@cases("program", {
    "a script's two programs": ["sh", "-c", f"{STEPS} context clear:ff0000ff swap; {STEPS} context swap"],
    "a fork": "fork context clear:ff0000ff swap",
    "a fork of a process that has swapped": "context clear:ff0000ff swap fork context swap",
})
def test_processes_that_swap_write_files_of_their_own(tmp_path, program):
    outcome = grab(tmp_path, "-windows 1", program)
    assert outcome.status == 0, outcome.errors
    assert pictures(tmp_path) == ["frame000001-p2.png", "frame000001.png"]
    assert colors(tmp_path / "frame000001.png") == {RED}
    assert "framegrab: 2 files" in outcome.said


@cases("steps, env, said", {
    "OpenGL ES 2.0": ("context:es2", {"MESA_GLES_VERSION_OVERRIDE": "2.0"}, 'this context is "OpenGL ES 2.0'),
    "another surface is read": ("context surface:2 surface:1 read-from:2", {}, "another one is current for reading"),
    "desktop GL": ("context:gl", {}, "have to choose EGL_OPENGL_ES_API with eglBindAPI, and ask eglCreateContext"),
})
def test_says_once_what_cannot_be_captured(tmp_path, steps, env, said):
    outcome = grab(tmp_path, "-frames 1-3", f"{steps} swap:3", env=os.environ | env)
    assert outcome.status == 1
    assert outcome.said.count(said) == 1
    assert "not captured whole: frames 1-3\n" in outcome.said
    assert pictures(tmp_path) == []


def test_says_that_glx_is_not_captured(display, tmp_path):
    with started(command(tmp_path, "-quit -timeout 20", ["env", "glxgears"])) as framegrab:
        assert any(b"framegrab: glxgears shows frames through GLX" in line for line in framegrab.stderr)


@cases("options, steps, captured, status", {
    "the next frame": ("-trigger", "swap:3", ["frame000001"], 0),
    "the next two, with targets": ("-trigger=2 -targets", "swap bind:1 clear:ff0000ff swap:3",
                                   ["frame000002", "frame000002_target001_color0", "frame000003"], 0),
    "more than come": ("-trigger 3", "swap", ["frame000001"], 1),
    "of each window": ("-trigger 2", "swap surface:2 swap:3 surface:1 swap:2",
                       ["frame000001-w2", "frame000001", "frame000002-w2", "frame000002"], 0),
    "of one window": ("-trigger -windows 2 -quit", "swap:2 surface:2 swap pause", ["frame000001-w2"], 0),
    "after which the program is ended": ("-trigger 2 -quit", "swap:2 pause", ["frame000001", "frame000002"], 0),
})
def test_captures_the_frames_after_a_signal(tmp_path, options, steps, captured, status):
    with started(command(tmp_path, options, f"read context {steps}")) as framegrab:
        assert framegrab.stderr.readline().startswith(b"framegrab: kill -USR1 %d captures" % framegrab.pid)
        framegrab.send_signal(signal.SIGUSR1)
        assert framegrab.stderr.readline().startswith(b"framegrab: capturing the next ")
        outcome = finish(framegrab)
    assert outcome.status == status, outcome.errors
    assert pictures(tmp_path) == [f"{name}.png" for name in captured]


# -- Render targets -----------------------------------------------------------------------------------------

@cases("steps, targets", {
    "binds another one": ("bind:1 clear:ff0000ff bind:0 clear:0000ffff", [RED]),
    "shows the frame": ("bind:1 clear:ff0000ff", [RED]),
    "two in turn": ("bind:1 clear:ff0000ff bind:2 clear:00ff00ff bind:1 clear:0000ffff", [RED, GREEN, BLUE]),
    "not drawn into": ("bind:1 bind:2 bind:0 clear:0000ffff bind:1", []),
    "not drawn into again": ("bind:1 clear:ff0000ff bind:0 bind:1 bind:0", [RED]),
    "binds the same one": ("bind:1 clear:ff0000ff bind:1 clear:00ff00ff", [GREEN]),
    "makes another context current": ("bind:1 clear:ff0000ff context", [RED]),
    "invalidates": ("bind:1 clear:ff0000ff invalidate clear:00ff00ff", [RED, GREEN]),
    "discards": ("bind:1 clear:ff0000ff invalidate:discard clear:00ff00ff", [RED, GREEN]),
    "invalidates before it draws": ("bind:1 invalidate clear:ff0000ff", [RED]),
    "attaches another texture": ("bind:1 clear:ff0000ff attach:new clear:00ff00ff", [RED, GREEN]),
    "attaches the same texture": ("bind:1 clear:ff0000ff attach:same clear:00ff00ff", [GREEN]),
    "deletes it": ("bind:1 clear:ff0000ff delete:framebuffer", [RED]),
    "draws": ("bind:1 triangle", [WHITE]),
    "finds functions with dlsym": ("find-gl:dlsym bind:1 clear:ff0000ff bind:0", [RED]),
    "with eglGetProcAddress": ("find-gl:proc bind:1 clear:ff0000ff bind:0", [RED]),
})
def test_captures_a_target_when_the_program_is_done_with_it(tmp_path, steps, targets):
    outcome = grab(tmp_path, "-targets", f"context {steps} swap")
    assert outcome.status == 0, outcome.errors
    files = [f"frame000001_target00{i + 1}_color0.png" for i in range(len(targets))]
    assert pictures(tmp_path) == ["frame000001.png", *files]
    assert [colors(tmp_path / name) for name in files] == [{color} for color in targets]
    assert all(f"{name}  " in outcome.said for name in files)


@cases("buffers, suffixes", {
    "colours, with a gap between": ("color", {"target001_color0": RED, "target001_color2": RED,
                                              "target002_color0": BLUE}),
    "depth and stencil": ("depth,stencil", {"target001_depth": DEPTH, "target001_stencil": STENCIL,
                                            "target002_depth": DEPTH, "target002_stencil": STENCIL,
                                            "depth": DEPTH, "stencil": STENCIL}),
})
def test_captures_the_buffers_of_targets_that_were_asked_for(tmp_path, buffers, suffixes):
    steps = "context clear:00ff00ff bind:1 attach:third clear:ff0000ff bind:2 clear:0000ffff bind:0 swap"
    assert grab(tmp_path, f"-targets -buffers {buffers}", steps).status == 0
    found = {name: colors(tmp_path / name) for name in pictures(tmp_path) if name != "frame000001.png"}
    assert found == {f"frame000001_{suffix}.png": {color} for suffix, color in suffixes.items()}


def test_captures_so_many_targets_of_a_frame_and_no_more(tmp_path):
    frame = 4 * " bind:1 clear:ff0000ff bind:0" + " swap"
    outcome = grab(tmp_path, "-targets -max-targets 2 -frames 1-2", f"context {frame} {frame}")
    assert outcome.status == 1
    assert outcome.said.count("frame 1 has more than 2 framebuffer objects: ") == 1
    assert "not captured whole: frames 1-2\n" in outcome.said
    assert [name for name in pictures(tmp_path) if "target" in name] == [
        f"frame00000{frame}_target00{target}_color0.png" for frame in "12" for target in "12"]


def test_leaves_the_programs_state_where_it_captures_a_target(tmp_path):
    # A framebuffer for reading, an error that was not asked for, and one framebuffer after the other.
    steps = ("context bind:1 clear:ff0000ff bind:2 bind-read:1 clear:00ff00ff error invalidate "
             "print-bindings print-bindings swap print-bindings")
    plain = grab(tmp_path, "", steps)
    captured = grab(tmp_path, "-targets -buffers color,depth,stencil", steps)
    assert captured.status == 0, captured.errors
    assert captured.output == ("draw 2 read 1 pack 0 error 1280\n" + 2 * "draw 2 read 1 pack 0 error 0\n")
    assert captured.output == plain.output
    assert colors(tmp_path / "frame000001_target002_color0.png") == {GREEN}


# -- Thumbnails and the contact sheet -----------------------------------------------------------------------

@cases("options, width, height, count, extension", {
    "beside the pictures": ("-thumbnail 8x8", 8, 4, 6, "png"),
    "alone": ("-thumbnail 100x4 -thumbnail-only", 8, 4, 3, "png"),
    "larger than the pictures": ("-thumbnail 64x64 -format bmp", 64, 32, 6, "bmp"),
})
def test_thumbnails_show_what_the_pictures_show(tmp_path, options, width, height, count, extension):
    outcome = grab(tmp_path, f"{options} -buffers color,depth,stencil", "context quadrants swap")
    assert outcome.status == 0, outcome.errors
    assert len(pictures(tmp_path)) == count
    row = Page(tmp_path).rows[1]
    assert len(row.images) == 3 and {*row.links, *row.images} == {*pictures(tmp_path)}
    # Top left, top right, bottom left, bottom right; where they meet, colours may be blended.
    for suffix, quadrants in (("", [(0, 0, 255), (255, 255, 0), (255, 0, 0), (0, 255, 0)]),
                              ("_depth", [(51,) * 3, (153,) * 3, (0,) * 3, (255,) * 3]),
                              ("_stencil", [(77,) * 3, (128,) * 3, (0,) * 3, (255,) * 3])):
        image = picture(tmp_path / f"frame000001{suffix}_thumbnail.{extension}", "RGB")
        assert image.size == (width, height)
        x, y = width * 3 // 8, height * 3 // 8
        corners = [(0, 0, x, y), (width - x, 0, width, y), (0, height - y, x, height),
                   (width - x, height - y, width, height)]
        assert [image.crop(corner).getcolors() for corner in corners] == [[(x * y, one)] for one in quadrants]


@cases("options, greys, has_values", {
    "exact": ("-format exr", [(0, 51, 153, 255), (0, 77, 128, 255)], True),
    "a range of depths": ("-depth-range 0.1-0.7", [(0, 43, 213, 255), (0, 77, 128, 255)], False),
    "the depths that it has": ("-depth-range auto", [(0, 0, 255, 255), (0, 77, 128, 255)], False),
    "stencil in color": ("-stencil-colors", [(0, 51, 153, 255), None], False),
})
def test_pictures_made_of_values_show_what_those_of_the_buffers_show(tmp_path, options, greys, has_values):
    outcome = grab(tmp_path, f"{options} -thumbnail 8x8 -buffers color,depth,stencil", "context quadrants swap")
    assert outcome.status == 0, outcome.errors
    assert colors(tmp_path / "frame000001.png") == {(0, 0, 255, 255), (255, 255, 0, 255), (255, 0, 0, 255),
                                                    (0, 255, 0, 0)}
    for suffix, grey in zip(("_depth", "_stencil"), greys):
        found = colors(tmp_path / f"frame000001{suffix}.png")
        assert found == {(value, value, value, 255) for value in grey} if grey else len(found) == 4
        assert picture(tmp_path / f"frame000001{suffix}_thumbnail.png").size == (8, 4)
    names = [f"frame000001{suffix}.exr" for suffix in ("", "_depth", "_stencil")]
    assert [link for link in Page(tmp_path).rows[1].links if link.endswith(".exr")] == names * has_values
    assert all((tmp_path / name).exists() == has_values for name in names)


def test_where_values_cannot_be_read_there_are_pictures(tmp_path):
    outcome = grab(tmp_path, "-format exr -buffers color,stencil", "context quadrants swap",
                   env=os.environ | {"MESA_GLES_VERSION_OVERRIDE": "3.0"})  # without textures of stencil
    assert outcome.status == 1
    assert "the values of a stencil buffer cannot be read: there is a picture without them\n" in outcome.said
    assert pictures(tmp_path) == ["frame000001.exr", "frame000001.png", "frame000001_stencil.png"]


@cases("options, steps, headings, rows", {
    "every frame": ("-frames 2-4", "swap:4", ["color"], [["frame000002"], ["frame000003"], ["frame000004"]]),
    "framebuffer objects with thumbnails":
        ("-targets -thumbnail 8x8 -buffers color,depth", "bind:1 clear:ff0000ff bind:0 swap",
         ["target001_color0", "target001_depth", "color", "depth"],
         [["frame000001_target001_color0", "frame000001_target001_depth", "frame000001", "frame000001_depth"]]),
    "columns in the order of drawing": ("-targets -frames 1-2", "swap bind:1 clear:ff0000ff bind:0 swap",
                                        ["target001_color0", "color"],
                                        [["frame000001"], ["frame000002_target001_color0", "frame000002"]]),
})
def test_contact_sheet_shows_every_frame(tmp_path, options, steps, headings, rows):
    grab(tmp_path, options, f"context {steps}")
    page = Page(tmp_path)
    assert page.rows[0].words == ["Frame", *headings]
    assert [row.links for row in page.rows[1:]] == [[f"{name}.png" for name in row] for row in rows]
    suffix = "_thumbnail" if "-thumbnail" in options else ""
    assert [row.images for row in page.rows[1:]] == [[f"{name}{suffix}.png" for name in row] for row in rows]
    for row in page.rows[1:]:
        assert all((tmp_path / name).is_file() for name in row.links + row.images)
        assert any(re.match(r"16 × 8, .*, PNG\s\d+\sbytes", text) for text in row.words)
    assert "://" not in page.html


def test_contact_sheet_shows_the_programs_name_as_it_is(tmp_path):
    name = b"<i>\"it's\" & caf\xc3\xa9 %20?#\xff\x01&amp;"
    os.symlink(os.fsencode(STEPS), os.fsencode(tmp_path) + b"/" + name)
    assert grab(tmp_path / "out", "", [os.fsencode(tmp_path) + b"/" + name, "context", "swap"]).status == 0
    page = Page(tmp_path / "out")
    assert page.words.count("<i>\"it's\" & café %20?#\ufffd\ufffd&amp;") == 1
    assert "<i>" not in page.html


# -- The program's end --------------------------------------------------------------------------------------

@cases("options, program, status, said", {
    "a frame is missing": ("-frames 1,3", "context swap:2", 1, "not captured whole: frames 3\n"),
    "the program fails": ("", "context swap exit:3", 3, "1 file, "),
    "the program fails, and a frame is missing": ("", "exit:4", 4, "ended before it showed a frame"),
    "the program is killed":
        ("", "context swap signal:11", 139, "was killed by signal 11 (Segmentation fault)"),
    "frames without an end, all that came": ("-frames 2-", "context swap:4", 0, "3 files, "),
    "no trigger": ("-trigger", "context swap:2", 1, "ended without a trigger; it showed 2 frames\n"),
    "it shows nothing": ("", ["true"], 1, "true ended before it showed a frame through EGL; "),
    "it loads no library": ("", [STATIC], 1, "framegrab_static did not load framegrab's hooks"),
    "it does not exist": ("", ["/no/such"], 127, "/no/such cannot be started: No such file"),
    "it is no program": ("", ["/etc/passwd"], 126, "/etc/passwd cannot be started: Permission denied"),
    "ended after the last frame": ("-quit -frames 2-9/3", "context swap:8 pause", 0, "3 files, "),
    "the last frame never comes": ("-timeout 0.5 -frames 1-2", "context swap pause", 1,
                                   "frame 2 has not come within 0.5 seconds; ending framegrab_linked\n"),
    "a script ends before its program":
        ("", ["sh", "-c", f"(sleep 0.2; exec {STEPS} context swap) & exit 0"], 0, "1 file, "),
})
def test_exit_status_is_the_programs_unless_that_is_zero(tmp_path, options, program, status, said):
    folder = tmp_path / "out"
    outcome = grab(folder, options, program)
    assert outcome.status == status, outcome.errors
    assert said in outcome.said
    assert folder.exists() == (status not in (126, 127))
    assert not folder.exists() or json.loads((folder / "manifest.json").read_text())["status"] == status


def test_output_passes_through_untouched(tmp_path):
    given = b"\0\x1b[1m\xff%s\r\n no line end"
    outcome = grab(tmp_path, "", ["sh", "-c", "cat; printf 'an error' >&2; exit 3"], given=given)
    assert outcome.status == 3
    assert os.fsencode(outcome.output) == given
    assert outcome.errors.startswith("an error")


def test_quit_loses_no_output_and_leaves_no_process(tmp_path):
    # A process left behind would keep its end of the output open, and grab() would wait for it.
    outcome = grab(tmp_path, "-quit", ["sh", "-c", f"sleep 1000 & ({STEPS} print:text context swap pause)"])
    assert outcome.status == 0, outcome.errors
    assert outcome.output == "text"


@cases("sent, action, status, said", {
    "SIGINT, unhandled": (signal.SIGINT, "-", 130, "framegrab: sh was killed by signal 2"),
    "SIGINT, handled": (signal.SIGINT, "'echo told; exit 7'", 7, "told\n"),
    "SIGTERM, unhandled": (signal.SIGTERM, "-", 143, "framegrab: sh was killed by signal 15"),
    "SIGTERM, handled": (signal.SIGTERM, "'echo told; exit 7'", 7, "told\n"),
})
def test_signals_reach_the_program(tmp_path, sent, action, status, said):
    script = f"trap {action} INT TERM; echo ready; while :; do sleep 0.05; done"
    with started(command(tmp_path, "", ["sh", "-c", script])) as framegrab:
        assert framegrab.stdout.readline() == b"ready\n"
        framegrab.send_signal(sent)
        outcome = finish(framegrab)
    assert outcome.status == status, outcome.errors
    assert said in outcome.output + outcome.said


# -- The command line ---------------------------------------------------------------------------------------

@pytest.mark.parametrize("arguments, said", [
    (["-frobnicate", "--", "true"], 'unknown option "-frobnicate"'),
    (["-output", "/etc/passwd/below", "--", "true"], "cannot be made: Not a directory"),
    (["-output", "/proc", "--", "true"], 'the output folder "/proc" cannot be written'),
], ids=lambda value: " ".join(value) if isinstance(value, list) else "")
def test_refuses_a_command_line_that_it_does_not_understand(arguments, said):
    outcome = run([FRAMEGRAB, *arguments])
    assert outcome.status == 2
    assert outcome.said.startswith("framegrab: ") and said in outcome.said.splitlines()[0]
    assert outcome.said == outcome.errors


@pytest.mark.parametrize("line, words", [
    ("-th", "-thumbnail -thumbnail-only -threads"),
    ("--thumbnail-", "--thumbnail-only"),
    ("-format ", "png bmp exr"),
    ("--png = f", "fast"),
    ("-buffers color,d", "color,depth"),
    ("-output /us", "/usr"),
    ("-quit -- framegrab_ste", ""),
])
def test_bash_completes_options_and_their_values(line, words):
    script = 'source <("$0" -help=bash); COMP_WORDS=(framegrab "$@"); COMP_CWORD=$#; _framegrab; echo ${COMPREPLY[*]}'
    outcome = run(["bash", "-c", script, FRAMEGRAB, *line.split(" ")])
    assert outcome.output.split() == words.split(), outcome.errors


def test_arguments_reach_the_program_as_they_are(tmp_path):
    arguments = ["", "-help", "a b", '"', "it's \"c d\"", "-frames", "--", "=x", "line\nline", "%s", "\\"]
    outcome = grab(tmp_path, "", ["printf", "[%s]", *arguments])
    assert outcome.output == "".join(f"[{argument}]" for argument in arguments)


@pytest.mark.parametrize("name", ["a b  c", 'say"hi"', "it's #50%", "a = b", "new/folder"])
def test_writes_where_it_is_told_to(tmp_path, name):
    outcome = grab(name, "", "context swap", cwd=tmp_path)
    assert outcome.status == 0, outcome.errors
    assert pictures(tmp_path / name) == ["frame000001.png"]
    assert f"contact sheet: file://{quote(str(tmp_path / name))}/index.html\n" in outcome.said


def test_what_it_says_goes_into_no_file_of_its_own(tmp_path):
    outcome = run(["sh", "-c", '"$@" 2>&-', "sh", *command(tmp_path, "", "context swap")])
    assert json.loads((tmp_path / "manifest.json").read_text())["status"] == outcome.status == 0


# -- The log and the terminal -------------------------------------------------------------------------------

@pytest.mark.parametrize("options, logged, shown, nowhere", [
    ("", ["status 1"], ["Screenshot failed: ", "status 1"], ["notice"]),
    ("-loglevel 3", ["notice [application]", "notice [dll]", "notice [capture]", "Screenshot failed: "],
     ["notice [application]", "notice [dll]", "notice [capture]", "Screenshot failed: "], []),
    ("-loglevel 3 -logzones Capture|DLL", ["notice [dll]", "notice [capture]"],
     ["notice [dll]", "notice [capture]"], ["[application]", "Screenshot failed"]),
    ("-logiopipe console", [], ["Screenshot failed: ", "status 1"], []),
    ("-logiopipe file", ["Screenshot failed: ", "status 1"], ["status 1"], []),
], ids=lambda value: value if isinstance(value, str) else "")
def test_logs_what_the_user_wants_where_the_user_wants_it(tmp_path, options, logged, shown, nowhere):
    (tmp_path / "frame000002.png").mkdir()  # so that this picture cannot be written
    outcome = grab(tmp_path, f"{options} -frames 1-3", "context swap:3")
    assert outcome.status == 1
    assert outcome.said == outcome.errors
    for text, parts in ((log(tmp_path), logged), (outcome.errors, shown)):
        assert re.search(".*".join(map(re.escape, parts)), text, re.DOTALL), text
    assert not any(part in log(tmp_path) + outcome.errors for part in nowhere)
    assert (tmp_path / "framegrab.log").exists() == bool(logged)
    assert "Not captured whole: frames 2" in Page(tmp_path).words


@pytest.mark.parametrize("frames, done", [("1,3", "1 of 2 frames, "), ("1-/2", "1 frame, ")])
def test_shows_on_a_terminal_how_far_it_is_and_takes_that_back(tmp_path, frames, done):
    with on_terminal(command(tmp_path, f"-frames {frames}", "context swap read swap:2")) as terminal:
        progress = f"framegrab: {done}1 file, "
        assert wait_for(lambda: progress in terminal.read()), terminal.text
        terminal.process.stdin.close()  # so that it goes on
        assert terminal.wait() == 0
    # The last such line makes way, in all its length, for the report.
    line = re.search(r"(framegrab: [^\r\n]* bytes)\r( +)\r(?=framegrab: )", terminal.text)
    assert len(line[1]) == len(line[2])
    assert "framegrab: 2 files, " in terminal.text[line.end():]
