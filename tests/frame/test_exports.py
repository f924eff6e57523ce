"""The dynamic symbol table of libmorvex-m.so.0 is exactly the export list:
nothing missing, and no internal symbol leaked."""
import os
import subprocess
import sys

lib = os.environ["MORVEX_M_LIB"]
here = os.path.dirname(os.path.abspath(__file__))
with open(os.path.join(here, "exports.txt")) as f:
    expected = {line.strip() for line in f if line.strip()}

out = subprocess.run(["nm", "-D", "--defined-only", lib], check=True, capture_output=True, text=True).stdout
exported = set()
for line in out.splitlines():
    parts = line.split()
    if len(parts) >= 3:
        exported.add(parts[2].split("@")[0])

missing = sorted(expected - exported)
extra = sorted(exported - expected)
for name in missing:
    print("missing export:", name)
for name in extra:
    print("exported but not in the list:", name)
print(f"{len(exported)} exported, {len(expected)} listed")
sys.exit(1 if missing or extra else 0)
