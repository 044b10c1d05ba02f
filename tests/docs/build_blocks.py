#!/usr/bin/python3
"""Follows docs/getting-started.md with the libraries that are installed: makes the two files, builds the host, runs
it. Then lets CMake read what the other pages show for it, the project as a subfolder included.

build_blocks.py PREFIX WORK_FOLDER CMAKE [CMAKE_OPTION...]
"""

import pathlib
import shutil
import subprocess
import sys

import pages
from programs import Program

GETTING_STARTED = pages.PROJECT / "docs" / "getting-started.md"


def run(command):
    subprocess.run(command, check=True, timeout=900)


def get_blocks(page, kind):
    return [step for step in pages.read_steps(page) if step.kind == kind]


def make_folder(folder, cmake_lists, main):
    folder.mkdir(parents=True)
    (folder / "CMakeLists.txt").write_text(cmake_lists, encoding="utf-8")
    (folder / "main.cpp").write_text(main, encoding="utf-8")


def build_first_host(folder, configure, cmake, report):
    cmake_lists, main = (get_blocks(GETTING_STARTED, kind)[0].text for kind in ("cmake", "cpp"))
    make_folder(folder, cmake_lists, main)
    run([*configure, "-S", folder, "-B", folder / "build"])
    run([cmake, "--build", folder / "build"])
    with Program([folder / "build" / "machine", "0"]) as host:
        report.check(host.url.startswith("http://127.0.0.1:"), GETTING_STARTED, f"the host serves on {host.url}")


def configure_block(folder, step, configure, report):
    start = "cmake_minimum_required(VERSION 3.25)\nproject(MyHost LANGUAGES CXX)\nadd_executable(my_host main.cpp)\n"
    make_folder(folder, start + step.text, "int main() {}\n")
    (folder / "information-model").symlink_to(pages.PROJECT)
    outcome = subprocess.run(
        [*configure, "-S", folder, "-B", folder / "build"], capture_output=True, text=True, timeout=300
    )
    report.check(outcome.returncode == 0, step, outcome.stderr)


def main():
    prefix, work, cmake, *options = sys.argv[1:]
    report = pages.Report()
    folder = pathlib.Path(work)
    shutil.rmtree(folder, ignore_errors=True)
    configure = [cmake, f"-DCMAKE_PREFIX_PATH={prefix}", *options]
    build_first_host(folder / "first", configure, cmake, report)
    for page in pages.list_pages():
        for step in get_blocks(page, "cmake"):
            if page != GETTING_STARTED:
                configure_block(folder / f"{page.stem}-{step.line}", step, configure, report)
    return report.get_status(least_checks=3)


if __name__ == "__main__":
    sys.exit(main())
