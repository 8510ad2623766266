#!/usr/bin/python3
"""Checks the engine's sources against layers.txt: every #include of a
project header and every link between the folders' libraries must point
down the layers. Prints each violation; exit status 1 when there is one.

Usage: check-layers.py [SOURCE_DIR]
"""
import os
import re
import sys

ROOT = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else
                       os.path.join(os.path.dirname(__file__), ".."))
# Folders above every layer: they may use anything.
ON_TOP = ("tests", "bench", "fuzz", "examples", "docs", "scripts")
SOURCE = re.compile(r".*\.(cc|h|c)$")
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)
LINK = re.compile(r"target_link_libraries\(\s*(\w+)([^)]*)\)")


def read_layers():
    """[(folder, library, [used folders])] in file order, and the problems."""
    layers, problems, seen = [], [], set()
    with open(os.path.join(ROOT, "layers.txt")) as f:
        for number, line in enumerate(f, 1):
            words = line.split("#", 1)[0].split()
            if not words:
                continue
            folder, library, uses = words[0], words[1], words[2:]
            for used in uses:
                if used not in seen:
                    problems.append(f"layers.txt:{number}: {folder} uses {used}, "
                                    "which is not a layer above it in the file")
            seen.add(folder)
            layers.append((folder, library, uses))
    return layers, problems


def closures(layers):
    """folder -> every folder it may use, itself included."""
    allowed = {}
    for folder, _, uses in layers:
        allowed[folder] = {folder}.union(*(allowed.get(u, {u}) for u in uses))
    return allowed


def check_includes(allowed):
    """Every file belongs to its top-level folder, subfolders included, so
    that no nesting can hide a use that goes up."""
    problems = []
    for path, dirs, files in os.walk(ROOT):
        relative = os.path.relpath(path, ROOT)
        if relative == ".":
            dirs[:] = [d for d in dirs if not d.startswith((".", "build")) and d not in ON_TOP]
            continue
        folder = relative.split(os.sep)[0]
        sources = [f for f in files if SOURCE.match(f)]
        if not sources:
            continue
        if folder not in allowed:
            problems.append(f"{relative}/: a source folder that layers.txt does not place")
            continue
        for name in sources:
            with open(os.path.join(path, name), errors="replace") as f:
                text = f.read()
            for match in INCLUDE.finditer(text):
                used = match.group(1).split("/")[0] if "/" in match.group(1) else ""
                if used and used not in allowed[folder]:
                    line = text.count("\n", 0, match.start()) + 1
                    problems.append(f"{relative}/{name}:{line}: includes {match.group(1)}, "
                                    f"but {folder} may not use {used}")
    return problems


def check_links(layers, allowed):
    folder_of = {library: folder for folder, library, _ in layers if library != "-"}
    problems = []
    with open(os.path.join(ROOT, "CMakeLists.txt")) as f:
        text = f.read()
    for match in LINK.finditer(text):
        target = match.group(1)
        if target not in folder_of:
            continue
        for word in match.group(2).split():
            used = folder_of.get(word)
            if used and used not in allowed[folder_of[target]]:
                problems.append(f"CMakeLists.txt: {target} links {word}, "
                                f"but {folder_of[target]} may not use {used}")
    return problems


def main():
    layers, problems = read_layers()
    allowed = closures(layers)
    problems += check_includes(allowed) + check_links(layers, allowed)
    for problem in problems:
        print(problem)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
