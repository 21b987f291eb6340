"""Runs a program and compares what it prints.

usage: expect_output.py EXPECTED.txt PROGRAM [ARG...]
"""
import pathlib
import subprocess
import sys

expected = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8")
run = subprocess.run(sys.argv[2:], capture_output=True, text=True)
if run.returncode != 0 or run.stdout != expected:
    sys.exit(f"exit code {run.returncode}\n--- expected\n{expected}--- printed\n{run.stdout}{run.stderr}")
