"""Object files compiled for one instruction set (name_sse42.cpp, _avx, _avx2,
_avx512) must define no weak symbols. A weak definition (an inline function or
template instantiated there) is merged with the copies of other files at link
time, and the copy kept might be one built for a stronger instruction set than
its callers were."""
import re
import subprocess
import sys

isa = re.compile(r"_(sse42|avx|avx2|avx512)\.cpp\.o$")
bad = 0
checked = 0
for obj in sys.argv[1:]:
    if not isa.search(obj):
        continue
    checked += 1
    out = subprocess.run(["nm", "-C", obj], check=True, capture_output=True, text=True).stdout
    for line in out.splitlines():
        parts = line.split(maxsplit=2)
        if len(parts) == 3 and parts[1] in ("W", "V", "u"):
            print(f"{obj}: weak symbol {parts[2]}")
            bad += 1
print(f"{checked} instruction-set objects checked, {bad} weak symbols")
sys.exit(1 if bad or checked == 0 else 0)
