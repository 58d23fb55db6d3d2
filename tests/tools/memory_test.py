"""The program needs as much memory for a full ring as for one just begun, and little.

memory_test.py VMR MAX_RSS INPUT
"""

import os
import subprocess
import sys
import tempfile

MOST_KIB = 16 * 1024
MOST_GROWTH = 1.05  # of a full ring over a small one
RUNS = 10           # at most: what pages of libraries come along differs from run to run

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

        def kib(name, ring):
            places = {"ring": rings[ring], "input": source, "out": os.path.join(folder, "out.vmd")}
            arguments = [argument.format(**places) for argument in COMMANDS[name]]
            run = subprocess.run([max_rss, vmr] + arguments, capture_output=True, text=True,
                                 env=environment)
            # 3: not all of the range is in the recording.
            if run.returncode not in (0, 3):
                sys.exit(f"{name} of the {ring} ring ended with {run.returncode}: {run.stderr}")
            return int(run.stdout)

        failed = False
        for name in COMMANDS:
            small = full = 1 << 30
            for _ in range(RUNS):
                small = min(small, kib(name, "small"))
                full = min(full, kib(name, "full"))
                good = full <= MOST_KIB and small <= MOST_KIB and full <= MOST_GROWTH * small
                if good:
                    break
            print(f"{name}: {small} KiB small, {full} KiB full{'' if good else ': TOO MUCH'}")
            failed = failed or not good
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
