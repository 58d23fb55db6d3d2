"""The program needs as much memory for a full ring as for one just begun, and little.

memory_test.py VMR MAX_RSS INPUT

What it allocates is told by the least limit under which it works: that is the same in every
run, while the pages of libraries that are in memory differ from run to run.
"""

import os
import subprocess
import sys
import tempfile

MOST_KIB = 16 * 1024
MOST_GROWTH = 0.05  # of what it has in all, for a full ring over a small one
STEP_KIB = 16       # to which the least limit is found

COMMANDS = {
    "record": ["record", "{ring}", "--replay", "--no-sync", "--input", "{input}"],
    "view": ["view", "{ring}"],
    "view --listing": ["view", "--listing", "{ring}"],
    "extract": ["extract", "{ring}", "{out}", "--force", "--from", "0", "--to", "4294967295"],
    "check": ["check", "{ring}"],
    "scrub": ["scrub", "{ring}"],
    "export jsonl": ["export", "{ring}"],
    "export gpx": ["export", "{ring}", "--format", "gpx"],
    "export geojson": ["export", "{ring}", "--format", "geojson"],
    "export vtt": ["export", "{ring}", "--format", "vtt", "--video-start", "1"],
    "export srt": ["export", "{ring}", "--format", "srt", "--video-start", "1"],
    "export csv": ["export", "{ring}", "--format", "csv", "--kind", "position"],
}


def full_ring():
    """Events that go round a ring: 68,000 ticks of 2,000 bytes, mostly texts."""
    lines = []
    for tick in range(1, 68001):
        lines.append(f'{{"class":"TPV","mode":3,"tick":{tick},"lat":{tick % 9000 / 100},'
                     f'"lon":{tick % 17000 / 100},"speed":{tick % 40}}}')
        for number in range(8):
            text = f"{tick} {number} ".ljust(240, ".")
            lines.append(f'{{"event":"log","text":"{text}"}}')
    return "\n".join(lines).encode()


def main():
    vmr, max_rss, source = sys.argv[1:4]
    environment = dict(os.environ, TZ="UTC", VMR_LOG="0")
    with tempfile.TemporaryDirectory() as folder:
        rings = {"small": os.path.join(folder, "small"), "full": os.path.join(folder, "full")}
        for name, lines in (("small", open(source, "rb").read()), ("full", full_ring())):
            subprocess.run([vmr, "record", rings[name], "--replay", "--no-sync", "--input", "-"],
                           input=lines, check=True, stderr=subprocess.DEVNULL, env=environment)

        info = subprocess.run([vmr, "info", rings["full"]], check=True, capture_output=True,
                              text=True, env=environment).stdout
        if "32768 of 32768 clusters in use" not in info:
            sys.exit("the full ring is not full:\n" + info)

        def run(name, ring, data_kib):
            """The most memory in KiB of the program so limited; None where it fails."""
            places = {"ring": rings[ring], "input": source, "out": os.path.join(folder, "out.vmd")}
            arguments = [argument.format(**places) for argument in COMMANDS[name]]
            done = subprocess.run([max_rss, str(data_kib), vmr] + arguments, capture_output=True,
                                  text=True, env=environment)
            # 3: not all of the range is in the recording.
            if done.returncode in (0, 3):
                return int(done.stdout)
            if data_kib == 0:
                sys.exit(f"{name} of the {ring} ring ended with {done.returncode}: {done.stderr}")
            return None

        def least_limit(name, ring):
            fails, works = 0, MOST_KIB
            if run(name, ring, works) is None:
                sys.exit(f"{name} of the {ring} ring fails with {MOST_KIB} KiB for its data")
            while works - fails > STEP_KIB:
                limit = (fails + works) // 2
                if run(name, ring, limit) is None:
                    fails = limit
                else:
                    works = limit
            return works

        failed = False
        for name in COMMANDS:
            small_kib, full_kib = run(name, "small", 0), run(name, "full", 0)
            limit = least_limit(name, "small")
            grows = run(name, "full", limit + int(MOST_GROWTH * small_kib)) is None
            good = not grows and small_kib <= MOST_KIB and full_kib <= MOST_KIB
            print(f"{name}: {small_kib} KiB small, {full_kib} KiB full; allocates {limit} KiB"
                  f"{', and more when full' if grows else ''}{'' if good else ': TOO MUCH'}")
            failed = failed or not good
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
