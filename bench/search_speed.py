#!/usr/bin/env python3
"""Searches the bench positions to a fixed depth with Quarvelle and with peer engines, interleaved so that
the machine's load falls on all alike, and prints nodes per second and time to depth side by side.

    bench/search_speed.py [--depth 9] [--hash 16] [--quarvelle build/quarvelle] [ENGINE ...]
ENGINE defaults to /usr/games/ethereal-chess and /usr/games/toga2. Run it from the repository root after a build.
"""
import argparse
import re
import subprocess
import time


def bench_positions():
    text = open("tools/bench.cpp").read()
    block = text[text.index("BenchPositions[]"):text.index("};", text.index("BenchPositions[]"))]
    return re.findall(r'"([^"]+)"', block)


class Uci:
    def __init__(self, path, hash_mb):
        self.p = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.send("uci")
        self.until("uciok")
        self.send(f"setoption name Hash value {hash_mb}")
        self.send("setoption name Threads value 1")
        self.send("isready")
        self.until("readyok")

    def send(self, line):
        self.p.stdin.write(line + "\n")

    def until(self, word):
        while True:
            line = self.p.stdout.readline()
            if not line:
                raise RuntimeError("engine ended")
            if line.startswith(word):
                return line

    def search(self, fen, depth):
        """Nodes and wall seconds of one search from a fresh game."""
        self.send("ucinewgame")
        self.send("isready")
        self.until("readyok")
        self.send("position fen " + fen)
        start = time.perf_counter()
        self.send(f"go depth {depth}")
        nodes = 0
        while True:
            line = self.p.stdout.readline()
            if line.startswith("bestmove"):
                return nodes, time.perf_counter() - start
            m = re.search(r"\bnodes (\d+)", line)
            if m:
                nodes = int(m.group(1))

    def close(self):
        self.send("quit")
        self.p.wait()


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--depth", type=int, default=9)
    ap.add_argument("--hash", type=int, default=16)
    ap.add_argument("--quarvelle", default="build/quarvelle")
    ap.add_argument("engines", nargs="*", default=["/usr/games/ethereal-chess", "/usr/games/toga2"])
    args = ap.parse_args()
    paths = [args.quarvelle] + args.engines
    engines = [Uci(p, args.hash) for p in paths]
    totals = [[0, 0.0] for _ in paths]
    for fen in bench_positions():
        for engine, total in zip(engines, totals):
            nodes, seconds = engine.search(fen, args.depth)
            total[0] += nodes
            total[1] += seconds
    for engine in engines:
        engine.close()
    ours = totals[0][0] / totals[0][1]
    print(f"depth {args.depth}, {len(bench_positions())} positions, hash {args.hash} MB, one thread")
    print(f"{'engine':28} {'nodes':>12} {'seconds':>8} {'nps':>10} {'our nps ratio':>14}")
    for path, (nodes, seconds) in zip(paths, totals):
        nps = nodes / seconds
        print(f"{path:28} {nodes:12d} {seconds:8.2f} {nps:10.0f} {ours / nps:14.2f}")


if __name__ == "__main__":
    main()
