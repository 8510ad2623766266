#!/usr/bin/python3
"""Checks the symbols that the engine exports to libraries: the functions
defined in the program (nm -D --defined-only) must be those of
host/exports.list, and every function that the interface header declares
must be in the list. Usage: check-exports.py ENGINE SOURCE_DIR"""
import re
import shutil
import subprocess
import sys


def listed(source):
    text = open(source + "/host/exports.list").read()
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    return set(re.findall(r"([A-Za-z_][A-Za-z0-9_]*)\s*;", text))


def declared(source):
    text = open(source + "/extensions/oxin_extension.h").read()
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    names = set(re.findall(r"\b((?:ox|crc32_)[A-Za-z0-9_]*)\s*\(", text))
    return names - {"oxin_config_library", "oxin_function_table"}


def exported(engine):
    if not shutil.which("nm"):
        sys.exit("nm is missing: install the Debian package binutils")
    lines = subprocess.run(["nm", "-D", "--defined-only", engine], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    # Versioned names are the C library's data, copied into the program.
    return {line.split()[-1] for line in lines if "@" not in line.split()[-1]}


def main():
    engine, source = sys.argv[1], sys.argv[2]
    names, wanted, header = exported(engine), listed(source), declared(source)
    faults = [f"exported but not listed: {n}" for n in sorted(names - wanted)]
    faults += [f"listed but not exported: {n}" for n in sorted(wanted - names)]
    faults += [f"declared but not listed: {n}" for n in sorted(header - wanted)]
    for fault in faults:
        print(fault)
    return 1 if faults else 0


sys.exit(main())
