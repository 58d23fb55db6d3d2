"""What is made of times that were taken in turns.

A round is a dict: of each variant, what its turn took ({"seconds": ...}). The variants of
one round ran next to each other, so a ratio within a round knows little of what else the
machine had to do; of the ratios of all rounds the median is the figure. The control is
the ratio of one thing with itself, taken in the same rounds: what it is off 1, the figures
may be off, too.
"""
import statistics

CONTROL_FROM, CONTROL_TO = 0.97, 1.03


def ratios(rounds, variant, peer, field="seconds"):
    """Of each round, the variant's part of what the peer took; rounds in which the peer
    took nothing have none."""
    return [r[variant][field] / r[peer][field] for r in rounds if r[peer][field] > 0]


def median_ratio(rounds, variant, peer, field="seconds"):
    of_rounds = ratios(rounds, variant, peer, field)
    return statistics.median(of_rounds) if of_rounds else None


def median(rounds, variant, field="seconds"):
    return statistics.median(r[variant][field] for r in rounds)


def control_holds(control):
    return control is not None and CONTROL_FROM <= control <= CONTROL_TO


def distance(control):
    """From 1; a control that could not be taken is the worst."""
    return float("inf") if control is None else abs(control - 1)


def repeated(measure, control_of, tries):
    """Measures until the control holds, `tries` times at most. What was measured with the
    best control, with "control", and "controls", those of all runs in their order."""
    runs = []
    for _ in range(tries):
        result = measure()
        runs.append((control_of(result), result))
        if control_holds(runs[-1][0]):
            break
    control, best = min(runs, key=lambda run: distance(run[0]))
    return {**best, "control": control, "controls": [c for c, _ in runs]}


def interleaved(variants, rounds):
    """Runs `variants`, a dict of functions that return what their turn took: A B C, C B A
    and so on."""
    taken = []
    for number in range(rounds):
        order = list(variants.items())
        if number % 2:
            order.reverse()
        taken.append({name: run() for name, run in order})
    return taken
