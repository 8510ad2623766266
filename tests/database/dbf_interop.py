#!/usr/bin/python3
"""Tables exchanged with xBase tools that the engine's authors did not write.

  dbf_interop.py check TABLE EXPECTED.json
      Reads TABLE with dbfread (also as the bytes stored), python-dbf and
      GDAL's ogrinfo and compares every record with the expected values;
      prints each difference and exits 1 if there is any.
  dbf_interop.py write-dbf DIRECTORY
      Writes DIRECTORY/people.dbf (and its memo file) with python-dbf and
      prints its records as oxin-dbf lists them.
  dbf_interop.py write-gdal DIRECTORY
      Writes DIRECTORY/gdal.dbf from a CSV file with ogr2ogr and prints its
      records as oxin-dbf lists them.

EXPECTED.json: {"fields": [[name, type, length, decimals], ...],
                "records": [{"deleted": bool, "values": [text, ...]}, ...]}
with each value in the text form the engine stores (numbers as digits,
dates as YYYYMMDD or blanks, logicals as T, F or ?).
"""
import datetime
import json
import os
import re
import subprocess
import sys

problems = []


def problem(tool, where, expected, actual):
    problems.append(f"{tool}: {where}: expected {expected!r}, got {actual!r}")


def expected_value(kind, text):
    """The value a reader should give for an engine text of this type."""
    if kind == "N":
        return None if text.strip() == "" else float(text)
    if kind == "D":
        if text.strip() == "":
            return None
        return datetime.date(int(text[:4]), int(text[4:6]), int(text[6:8]))
    if kind == "L":
        return {"T": True, "F": False}.get(text)
    return text


def same(kind, expected, actual):
    if kind == "N":
        return expected == (None if actual is None else float(actual))
    if kind == "D" and actual is not None and expected is not None:
        return (actual.year, actual.month, actual.day) == (
            expected.year, expected.month, expected.day)
    if kind == "M" and actual is None:
        return expected == ""  # no memo at all
    if kind == "C" and isinstance(actual, str):
        return actual.rstrip(" ") == expected
    return expected == actual


def compare(tool, fields, expected_records, rows):
    if len(rows) != len(expected_records):
        problem(tool, "record count", len(expected_records), len(rows))
        return
    for number, (want, row) in enumerate(zip(expected_records, rows), 1):
        if row.get("deleted") is not None and row["deleted"] != want["deleted"]:
            problem(tool, f"record {number} deleted flag", want["deleted"], row["deleted"])
        for (name, kind, _, _), text in zip(fields, want["values"]):
            if name not in row:
                continue
            value = expected_value(kind, text)
            if not same(kind, value, row[name]):
                problem(tool, f"record {number} {name}", value, row[name])


def read_dbfread(path, fields):
    """dbfread keeps deleted records apart, after the others."""
    import dbfread
    table = dbfread.DBF(path, load=True, encoding="latin-1")
    return ([dict(record, deleted=False) for record in table.records] +
            [dict(record, deleted=True) for record in table.deleted])


def read_stored(path, fields):
    """The bytes of each field as the file holds them, less the padding, so
    that a number's decimals and a logical's letter are seen as written."""
    import dbfread
    table = dbfread.DBF(path, load=True, encoding="latin-1", raw=True)
    strip = {"C": bytes.rstrip, "N": bytes.lstrip}
    return [dict({name: strip.get(kind, bytes)(record[name]).decode("latin-1")
                  for name, kind, _, _ in fields if kind != "M"}, deleted=deleted)
            for deleted, records in ((False, table.records), (True, table.deleted))
            for record in records]


def read_python_dbf(path, fields):
    import dbf
    table = dbf.Table(path, codepage="cp1252")
    table.open(dbf.READ_ONLY)
    rows = []
    for record in table:
        row = {"deleted": dbf.is_deleted(record)}
        for name, *_ in fields:
            value = record[name.lower()]
            if isinstance(value, dbf.Date):
                value = value._date if value else None
            elif isinstance(value, dbf.Logical):
                value = None if value is dbf.Unknown else bool(value)
            elif value is dbf.Unknown:
                value = None
            row[name] = value
        rows.append(row)
    table.close()
    return rows


def read_ogrinfo(path, fields):
    """ogrinfo leaves deleted records out and shows a memo's block number."""
    output = subprocess.run(["ogrinfo", "-ro", "-al", "-q", path], check=True,
                            capture_output=True, text=True, encoding="latin-1").stdout
    kinds = {name: kind for name, kind, _, _ in fields}
    rows = []
    for line in output.splitlines():
        if line.startswith("OGRFeature("):
            rows.append({name: None for name in kinds if kinds[name] != "M"})
            continue
        match = re.match(r"  (\w+) \((\w+)\) = (.*)$", line)
        if not match or not rows or kinds.get(match.group(1)) in (None, "M"):
            continue
        name, text = match.group(1), match.group(3)
        # ogrinfo writes dates as YYYY/MM/DD, the rest as the engine does.
        rows[-1][name] = None if text == "(null)" else expected_value(
            kinds[name], text.replace("/", "") if kinds[name] == "D" else text)
    return rows


def check(path, expected_path):
    with open(expected_path, encoding="latin-1") as handle:
        expected = json.load(handle)
    fields = expected["fields"]
    records = expected["records"]
    live = [record for record in records if not record["deleted"]]
    ordered = live + [record for record in records if record["deleted"]]
    compare("dbfread", fields, ordered, read_dbfread(path, fields))
    compare("stored", [[name, "S", 0, 0] for name, *_ in fields], ordered,
            read_stored(path, fields))
    compare("python-dbf", fields, records, read_python_dbf(path, fields))
    compare("ogrinfo", fields, live, read_ogrinfo(path, fields))
    for line in problems:
        print(line)
    return 1 if problems else 0


def quoted(text):
    """A text as oxin-dbf quotes it."""
    escapes = {'"': '\\"', "\\": "\\\\", "\n": "\\n"}
    return '"' + "".join(escapes.get(c) or ("\\x%02X" % ord(c) if ord(c) < 0x20 or ord(c) == 0x7F
                                            else c) for c in text) + '"'


def listing(number, deleted, pairs):
    return f"{number}{' *' if deleted else ''}" + "".join(
        f" {name}={quoted(text)}" for name, text in pairs)


def write_dbf(directory):
    import dbf
    path = os.path.join(directory, "people.dbf")
    table = dbf.Table(path, "name C(20); age N(3,0); born D; member L; notes M; "
                      "amount N(10,2)", dbf_type="db3")
    table.open(dbf.READ_WRITE)
    rows = [
        ("Alice", 30, datetime.date(1996, 5, 1), True, "likes tea", 12.5),
        ("Bob", -41, None, False, "line one\nline two " + "x" * 600, -3.25),
        ("Carla Maria Exactly!", 0, datetime.date(2000, 2, 29), None, "", 1234567.8),
        ("Dan", 7, datetime.date(1970, 1, 1), True, "y" * 510, 0),
    ]
    for row in rows:
        table.append(row)
    dbf.delete(table[3])
    table.close()
    for number, (name, age, born, member, notes, amount) in enumerate(rows, 1):
        print(listing(number, number == 4, [
            ("NAME", name), ("AGE", str(age)),
            ("BORN", born.strftime("%Y%m%d") if born else " " * 8),
            ("MEMBER", {True: "T", False: "F", None: "?"}[member]),
            ("NOTES", notes), ("AMOUNT", "%.2f" % amount)]))
    return 0


def write_gdal(directory):
    csv = os.path.join(directory, "in.csv")
    with open(csv, "w", encoding="ascii") as handle:
        handle.write("name,count,price,day\n"
                     "Ann,3,12.5,2024-02-29\n"
                     "\"Bob, Jr.\",-41,0.125,1999-12-31\n"
                     "Eve,0,1e3,1970-01-01\n")
    subprocess.run(["ogr2ogr", "-f", "ESRI Shapefile", "-oo", "AUTODETECT_TYPE=YES",
                    os.path.join(directory, "gdal.dbf"), csv], check=True)
    rows = [("Ann", 3, 12.5, "20240229"), ("Bob, Jr.", -41, 0.125, "19991231"),
            ("Eve", 0, 1000.0, "19700101")]
    for number, (name, count, price, day) in enumerate(rows, 1):
        print(listing(number, False, [("name", name), ("count", str(count)),
                                      ("price", "%.15f" % price), ("day", day)]))
    return 0


if __name__ == "__main__":
    commands = {"check": (check, 4), "write-dbf": (write_dbf, 3), "write-gdal": (write_gdal, 3)}
    command, arguments = commands.get(sys.argv[1] if len(sys.argv) > 1 else "", (None, 0))
    if len(sys.argv) != arguments:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    sys.exit(command(*sys.argv[2:]))
