"""Projects of their own that use the libraries, from an installed copy and as a part of themselves."""

import os
import pathlib
import subprocess

BUILD = pathlib.Path(os.environ["UTIL_BIN"]).parent
SOURCE = pathlib.Path(__file__).parents[1]


def call(*words, **environment):
    """Fails with the output of a command that fails."""
    result = subprocess.run([str(word) for word in words], env=os.environ | environment, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=600, check=False)
    assert result.returncode == 0, result.stdout


def build(folder, way, *options, **environment):
    """Builds the hosts and runs them."""
    call("cmake", "-G", "Ninja", "-S", SOURCE / "tests/embedding", "-B", folder, f"-DFROM={way}",
         f"-DSOURCE={SOURCE}", *options, **environment)
    call("cmake", "--build", folder)
    call("ctest", "--test-dir", folder, "--output-on-failure")


def build_with_installed(folder, prefix, *options):
    build(folder / "package", "package", f"-DCMAKE_PREFIX_PATH={prefix}", *options)
    build(folder / "pkg-config", "pkg-config", *options, PKG_CONFIG_PATH=f"{prefix}/lib/pkgconfig")


def test_shared_libraries_whose_prefix_was_moved(tmp_path):
    prefix = tmp_path / "moved"
    call("cmake", "--install", BUILD, "--prefix", tmp_path / "installed")
    (tmp_path / "installed").rename(prefix)
    build_with_installed(tmp_path, prefix, "-DSHARED=ON", f"-DHEADERS={prefix}/include/framegrab")


def test_static_libraries_as_a_part_of_a_project_then_installed_by_it(tmp_path):
    """... which compiles everything without exceptions, and has no standard of its own."""
    build(tmp_path / "project", "subdirectory", "-DBUILD_SHARED_LIBS=OFF", "-DFRAMEGRAB_INSTALL=ON",
          "-DCMAKE_CXX_FLAGS=-fno-exceptions -fno-rtti")
    call("cmake", "--install", tmp_path / "project", "--prefix", tmp_path / "installed")
    build_with_installed(tmp_path, tmp_path / "installed")


def test_shared_libraries_as_fetched_content(tmp_path):
    build(tmp_path, "fetch", "-DSHARED=ON", "-DCMAKE_BUILD_TYPE=Debug")
