"""Google Benchmark: items in memory against peers, searches and extractions."""
import json

from . import ratios
from .system import run


MS = {"ns": 1e-6, "us": 1e-3, "ms": 1}


def benchmarks(program, folder, *options):
    out = folder / "benchmark.json"
    run([program, f"--benchmark_out={out}", "--benchmark_out_format=json", *options], cwd=folder)
    return [b for b in json.loads(out.read_text())["benchmarks"] if b["run_type"] == "iteration"]


def items(programs, folder, repetitions, min_time_s):
    """Rounds: of each benchmark, processor seconds an item. Repetitions come in random order."""
    found = benchmarks(programs / "bench_peers", folder, f"--benchmark_repetitions={repetitions}",
                       f"--benchmark_min_time={min_time_s}",
                       "--benchmark_enable_random_interleaving=true")
    rounds = [{} for _ in range(repetitions)]
    for b in found:
        rounds[b["repetition_index"]][b["run_name"]] = {"seconds": 1 / b["items"]}
    return {"rounds": rounds}


def extraction(programs, folder):
    found = benchmarks(programs / "bench_extraction", folder, "--benchmark_min_time=0.2")
    names = ("clusters", "calls", "packets", "writes")
    return {b["run_name"].removesuffix("/real_time"):
            {"cpu_ms": b["cpu_time"] * MS[b["time_unit"]], **{n: b[n] for n in names if n in b}}
            for b in found}


def measure(programs, folder, size, say):
    say("items in memory")
    result = {"items": ratios.repeated(
        lambda: items(programs, folder, size.repetitions, size.min_time_s),
        lambda r: ratios.median_ratio(r["rounds"], "record/busy/fprintf (again)",
                                      "record/busy/fprintf"), size.tries)}
    say("searches and extractions")
    result["extraction"] = extraction(programs, folder)
    return result
