"""The cosine table in the sources is what its generator writes: regenerating
it must give the same file, so the constants cannot be edited by hand or
drift from the series that define them."""
import pathlib
import subprocess
import sys

root = pathlib.Path(__file__).resolve().parents[2]
generated = subprocess.run([sys.executable, str(root / "tools" / "gen-cos-table.py")],
                           check=True, capture_output=True, text=True).stdout
committed = (root / "src" / "generate" / "cos_table.cpp").read_text()
if generated != committed:
    sys.exit("src/generate/cos_table.cpp differs from tools/gen-cos-table.py's output")
print("cos table: 1 check, 0 failed")
