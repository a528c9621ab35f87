"""clang-tidy, with the checks of the .clang-tidy files, over every source of the service, the layer
and the client that a tree builds.

    tidyTest.py tree SOURCE-FOLDER BUILD-FOLDER    it has nothing to say
    tidyTest.py sample SOURCE-FOLDER               it refuses what is marked in sample.cpp, no more
"""

import json
import multiprocessing.pool
import os
import re
import shutil
import subprocess
import sys

FOLDERS = ("src", "platform/linux", "client")
SKIPPED = 77  # by ctest

# Fewer sources than any choice of parts leaves: the list of commands was not understood.
FEWEST_SOURCES = 50


def own_commands(source, build):
    """One command for each source: some are compiled for a test as well, with headers that only
    the compiler that has parsed them can read."""
    places = tuple(os.path.join(source, folder) + os.sep for folder in FOLDERS)
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        entries = [entry for entry in json.load(file) if entry["file"].startswith(places)]
    commands = {}
    for entry in sorted(entries, key=lambda entry: "cmake_pch" in entry["command"]):
        # Neither headers parsed by another compiler nor what it alone makes of our variables.
        entry["command"] = re.sub(r" -include \S*cmake_pch\S*| -ftrivial-auto-var-init=\S*", "",
                                  entry["command"])
        commands.setdefault(entry["file"], entry)
    return list(commands.values())


def check_tree(source, build):
    commands = own_commands(source, build)
    print(len(commands), "sources")
    if len(commands) < FEWEST_SOURCES:
        return False
    folder = os.path.join(build, "tidy")
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "compile_commands.json"), "w", encoding="utf-8") as file:
        json.dump(commands, file)

    def check(command):
        run = subprocess.run(["clang-tidy", "-p", folder, "--quiet", command["file"]], text=True,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if run.returncode != 0:
            print(run.stdout, end="", flush=True)
        return run.returncode == 0

    with multiprocessing.pool.ThreadPool(os.cpu_count()) as pool:
        return all(pool.map(check, commands, chunksize=1))


def check_sample(source):
    sample = os.path.join(source, "tests", "tidy", "sample.cpp")
    with open(sample, encoding="utf-8") as file:
        marked = {number for number, line in enumerate(file, 1) if "// refused" in line}
    run = subprocess.run(["clang-tidy", "--config-file=" + os.path.join(source, ".clang-tidy"),
                          "--quiet", sample, "--", "-std=c++17"], text=True, check=False,
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    refused = {int(line) for line in re.findall(r"sample\.cpp:(\d+):\d+: error:", run.stdout)}
    print("lines let pass:", sorted(marked - refused))
    print("lines refused without a mark:", sorted(refused - marked))
    return bool(marked) and marked == refused


def main():
    if not shutil.which("clang-tidy"):
        print("clang-tidy is not installed")
        return 1 if os.environ.get("CI") == "true" else SKIPPED
    check = {"tree": check_tree, "sample": check_sample}[sys.argv[1]]
    return 0 if check(*sys.argv[2:]) else 1


sys.exit(main())
