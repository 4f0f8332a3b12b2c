#!/usr/bin/env python3
"""Builds mates.epd: positions from real games where the side to move forces mate in 1 to 4.

Candidates come from tuning-positions.txt.xz (decisive games only); Stockfish screens them with a short
search and confirms each mate distance with a deep one. Usage:
    make_mate_suite.py TUNING_POSITIONS_XZ OUT_EPD [STOCKFISH]
"""
import lzma
import random
import subprocess
import sys


class Engine:
    def __init__(self, path):
        self.p = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.send("uci")
        self.wait("uciok")
        self.send("setoption name Threads value 1")
        self.send("setoption name Hash value 16")

    def send(self, line):
        self.p.stdin.write(line + "\n")

    def wait(self, word):
        while True:
            line = self.p.stdout.readline()
            if line.split()[:1] == [word]:
                return line

    def mate(self, fen, limit, fresh):
        """Mate distance in moves (positive: side to move mates) and the best move, from one search."""
        if fresh:
            self.send("ucinewgame")
        self.send("position fen " + fen)
        self.send("go " + limit)
        mate = None
        while True:
            line = self.p.stdout.readline().split()
            if line[:1] == ["bestmove"]:
                return mate, line[1]
            if "score" in line:
                i = line.index("score")
                mate = int(line[i + 2]) if line[i + 1] == "mate" else None


def main():
    source, out = sys.argv[1], sys.argv[2]
    engine = Engine(sys.argv[3] if len(sys.argv) > 3 else "/usr/games/stockfish")
    rng = random.Random(20261123)
    lines = [l for l in lzma.open(source, "rt") if not l.rstrip().endswith("0.5")]
    rng.shuffle(lines)
    wanted = {n: 14 for n in range(1, 5)}
    suite = []
    for line in lines:
        if not any(wanted.values()):
            break
        fen = line.split(";")[0]
        mate, _ = engine.mate(fen, "nodes 3000", False)
        if mate is None or not 1 <= mate <= 4 or wanted[mate] == 0:
            continue
        confirmed, move = engine.mate(fen, "depth 24", True)
        if confirmed != mate:
            continue
        wanted[mate] -= 1
        suite.append(f"{fen} bm {move}; dm {mate};")
        print(len(suite), suite[-1], flush=True)
    suite.sort(key=lambda s: int(s.split("dm ")[1].rstrip(";")))
    with open(out, "w") as f:
        f.write("\n".join(suite) + "\n")


if __name__ == "__main__":
    main()
