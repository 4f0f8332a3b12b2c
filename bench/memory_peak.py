#!/usr/bin/env python3
"""Peak resident memory of the engine: idle after "isready", and after searches of a fixed node count from the
start position and a middlegame, at the default table sizes and at the Hash sizes given; peer engines the same
way at those Hash sizes, for comparison.

    bench/memory_peak.py [--engine build/quarvelle] [--hash 64] [--nodes 5000000] [PEER ...]
PEER defaults to /usr/games/toga2 and /usr/games/ethereal-chess. The searches touch every page a game would,
so the figure is what a tournament sees; untouched table pages are not resident. An engine that ignores the node
count is stopped after a minute."""
import argparse
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from soak import Uci  # noqa: E402

POSITIONS = ["startpos", "fen r1bq1rk1/pp2bppp/2n1pn2/3p4/2PP4/2N1PN2/PP3PPP/R2QKB1R w KQ - 0 9"]


def peak_kb(command, options, nodes):
    """VmHWM idle after setup, and after the searches."""
    engine = Uci([command], cwd=os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    engine.send("uci\n" + "".join("setoption name %s\n" % o for o in options) + "isready")
    engine.wait_for("readyok", 120)
    idle = engine.peak_kb()
    for position in POSITIONS:
        engine.send("position %s\ngo nodes %d" % (position, nodes))
        if not engine.wait_for("bestmove", 60):
            engine.send("stop")  # an engine that doesn't count nodes has searched as long by now
            if not engine.wait_for("bestmove", 10):
                sys.exit("%s gave no bestmove" % command)
    searched = engine.peak_kb()
    engine.close()
    return idle, searched


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--engine", default="build/quarvelle")
    parser.add_argument("--hash", default="64", help="comma-separated Hash sizes in MB")
    parser.add_argument("--nodes", type=int, default=5000000)
    parser.add_argument("peers", nargs="*", default=["/usr/games/toga2", "/usr/games/ethereal-chess"])
    args = parser.parse_args()
    runs = [(args.engine, "default", [])]
    for size in args.hash.split(","):
        runs.append((args.engine, "Hash " + size, ["Hash value " + size]))
        runs += [(peer, "Hash " + size, ["Hash value " + size, "Threads value 1"])
                 for peer in args.peers if os.path.exists(peer)]
    print("%-28s %-10s %10s %14s" % ("engine", "tables", "idle MB", "searched MB"))
    for command, label, options in runs:
        idle, searched = peak_kb(os.path.abspath(command), options, args.nodes)
        print("%-28s %-10s %10.1f %14.1f" % (os.path.basename(command), label, idle / 1024, searched / 1024),
              flush=True)


if __name__ == "__main__":
    main()
