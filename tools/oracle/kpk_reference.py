#!/usr/bin/env python3
"""Writes tests/data/kpk_reference.txt: the Syzygy verdict (read with fathom) for every legal K+P against K
position with a white pawn on files a to d, ranks 2 to 7; files e to h are their mirror.

Line format: "<stm> <pawn> <whiteKing> <64 characters>", squares numbered a1 = 0; character n is the verdict
with the black king on square n: W the pawn's side wins, D a draw, - not a legal position or checkmate
(fathom reports a mated side to move as winning, so such positions are left out).

Usage: kpk_reference.py [fathom] [syzygy folder] [output]
"""
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

FATHOM = sys.argv[1] if len(sys.argv) > 1 else "/usr/games/fathom"
TABLES = sys.argv[2] if len(sys.argv) > 2 else "/work/shared/syzygy"
OUTPUT = sys.argv[3] if len(sys.argv) > 3 else "tests/data/kpk_reference.txt"


def distance(a, b):
    return max(abs(a % 8 - b % 8), abs(a // 8 - b // 8))


def pawn_attacks(pawn, sq):
    return sq // 8 == pawn // 8 + 1 and abs(sq % 8 - pawn % 8) == 1


def fen(stm, pawn, wk, bk):
    board = [["1"] * 8 for _ in range(8)]
    board[pawn // 8][pawn % 8] = "P"
    board[wk // 8][wk % 8] = "K"
    board[bk // 8][bk % 8] = "k"
    rows = []
    for rank in range(7, -1, -1):
        row, empty = "", 0
        for c in board[rank]:
            if c == "1":
                empty += 1
            else:
                row += (str(empty) if empty else "") + c
                empty = 0
        rows.append(row + (str(empty) if empty else ""))
    return "/".join(rows) + (" w" if stm == 0 else " b") + " - - 0 1"


def black_mated(pawn, wk, bk):
    if not pawn_attacks(pawn, bk):
        return False
    for to in range(64):
        if distance(to, bk) != 1 or distance(to, wk) <= 1 or pawn_attacks(pawn, to):
            continue
        if to == pawn and distance(pawn, wk) <= 1:
            continue
        return False
    return True


def legal(stm, pawn, wk, bk):
    if len({pawn, wk, bk}) < 3 or distance(wk, bk) < 2:
        return False
    if stm == 0 and pawn_attacks(pawn, bk):
        return False
    return not (stm == 1 and black_mated(pawn, wk, bk))


def verdict(args):
    stm, pawn, wk, bk = args
    out = subprocess.run([FATHOM, "--test", "--path=" + TABLES, fen(stm, pawn, wk, bk)], capture_output=True,
                         text=True).stdout.strip()
    if out not in ("1-0", "1/2-1/2"):
        raise SystemExit("unexpected answer %r for %s" % (out, fen(stm, pawn, wk, bk)))
    return "W" if out == "1-0" else "D"


def main():
    rows = [(stm, pawn, wk) for stm in (0, 1) for pawn in range(8, 56) if pawn % 8 < 4 for wk in range(64)]
    jobs = [(stm, pawn, wk, bk) for stm, pawn, wk in rows for bk in range(64) if legal(stm, pawn, wk, bk)]
    with ThreadPoolExecutor(max_workers=2) as pool:
        answers = dict(zip(jobs, pool.map(verdict, jobs, chunksize=64)))
    with open(OUTPUT, "w") as out:
        for stm, pawn, wk in rows:
            line = "".join(answers.get((stm, pawn, wk, bk), "-") for bk in range(64))
            if line.strip("-"):
                out.write("%d %d %d %s\n" % (stm, pawn, wk, line))


if __name__ == "__main__":
    main()
