# SPDX-License-Identifier: MIT
"""Checks of the build's products, by the first argument:
  exports LIB LIST    the dynamic symbol table of LIB is exactly the export list
  isa OBJECT...       objects built for one instruction set (name_sse42.cpp,
                      _avx, _avx2, _avx512, _avx512dq, _avx512bw) define no weak symbols:
                      the linker keeps one copy of such a symbol for the whole
                      library and might hand the AVX2 copy to a caller built
                      for the baseline
  cos-table ROOT      the cosine table in the sources is what its generator
                      writes, so its constants cannot drift from their series
  spdx ROOT           every source file of the tree names its licence in an
                      SPDX line near its top, as the LICENSE file promises"""
import os
import pathlib
import re
import subprocess
import sys


def nm(*args):
    return subprocess.run(["nm", *args], check=True, capture_output=True, text=True).stdout.splitlines()


kind, args = sys.argv[1], sys.argv[2:]
problems = []
if kind == "exports":
    have = {line.split()[2].split("@")[0] for line in nm("-D", "--defined-only", args[0]) if len(line.split()) >= 3}
    want = {line.strip() for line in open(args[1]) if line.strip()}
    problems = [f"missing export: {s}" for s in sorted(want - have)] + [f"not in the list: {s}" for s in sorted(have - want)]
elif kind == "isa":
    objects = [o for o in args if re.search(r"_(sse42|avx|avx2|avx512|avx512dq|avx512bw)\.cpp\.o$", o)]
    problems = [f"{o}: weak symbol {p[2]}" for o in objects for p in (l.split(maxsplit=2) for l in nm("-C", o))
                if len(p) == 3 and p[1] in ("W", "V", "u")] + ([] if objects else ["no instruction-set objects found"])
elif kind == "cos-table":
    root = pathlib.Path(args[0])
    generated = subprocess.run([sys.executable, str(root / "tools" / "gen-cos-table.py")], check=True,
                               capture_output=True, text=True).stdout
    if generated != (root / "src" / "generate" / "cos_table.cpp").read_text():
        problems = ["src/generate/cos_table.cpp differs from tools/gen-cos-table.py's output"]
elif kind == "spdx":
    root = pathlib.Path(args[0])
    sources = (".c", ".cpp", ".h", ".py", ".sh", ".cmake", ".in", ".map", ".toml")
    for folder, dirs, files in os.walk(root):
        # build trees, caches, VCS data and the fuzz corpora (raw inputs) are not sources
        dirs[:] = [d for d in dirs if not d.startswith(("build", ".", "__")) and d not in ("corpus", "dist")
                   and not d.endswith(".egg-info")] + [d for d in dirs if d == ".ci"]
        for name in files:
            path = pathlib.Path(folder) / name
            if name.endswith(sources) or name in ("CMakeLists.txt", "run"):
                head = path.read_text(errors="replace").splitlines()[:3]
                if not any("SPDX-License-Identifier: MIT" in line for line in head):
                    problems.append(f"{path.relative_to(root)}: no SPDX line")
print("\n".join(problems) or f"{kind}: ok")
sys.exit(1 if problems else 0)
