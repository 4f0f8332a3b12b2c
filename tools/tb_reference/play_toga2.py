#!/usr/bin/env python3
"""Plays Quarvelle with tablebases against toga2 without them from tablebase endings, for a report (not CI).

   tools/tb_reference/play_toga2.py ENGINE TABLE_DIR [FEN ...]

Quarvelle gets "go depth 8", toga2 "go depth 10"; a side that answers no bestmove has no legal move (mate or stalemate; the move
list printed tells which).
"""
import os
import select
import subprocess
import sys

TOGA = "/usr/games/toga2"


class Engine:
    def __init__(self, command, options):
        self.p = subprocess.Popen([command], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True, bufsize=1)
        self.pending = b""
        self.send("uci")
        self.wait_for("uciok")
        for option in options:
            self.send(option)
        self.send("isready")
        self.wait_for("readyok")

    def send(self, line):
        self.p.stdin.write(line + "\n")
        self.p.stdin.flush()

    def wait_for(self, prefix):
        while True:
            line = self.read_line(60)
            if line is None or line.startswith(prefix):
                return line

    def best(self, fen, moves, go):
        self.send("position fen %s%s" % (fen, " moves " + " ".join(moves) if moves else ""))
        self.send(go)
        # An engine with no legal move may answer nothing at all: a quiet pipe for 30 seconds ends the game.
        while True:
            line = self.read_line(30)
            if line is None:
                return None
            if line.startswith("bestmove"):
                return line.split()[1]

    def read_line(self, timeout):
        fd = self.p.stdout.fileno()
        while b"\n" not in self.pending:
            if not select.select([fd], [], [], timeout)[0]:
                return None
            chunk = os.read(fd, 4096)
            if not chunk:
                return None
            self.pending += chunk
        line, self.pending = self.pending.split(b"\n", 1)
        return line.decode()

    def quit(self):
        self.send("quit")
        self.p.wait(timeout=10)



def main():
    engine, tables = sys.argv[1], sys.argv[2]
    fens = sys.argv[3:] or ["K7/8/8/5r2/Q7/2k5/8/8 w - - 0 1", "4k3/8/4K3/4P3/8/8/8/8 w - - 0 1",
                            "8/8/8/8/2k5/8/1r6/3QK3 w - - 0 1"]
    for fen in fens:
        ours = Engine(engine, ["setoption name SyzygyPath value " + tables])
        toga = Engine(TOGA, [])
        white_is_ours = fen.split()[1] == "w"
        moves = []
        result = "no end in 200 plies"
        for ply in range(200):
            ours_to_move = (ply % 2 == 0) == white_is_ours
            move = ours.best(fen, moves, "go depth 8") if ours_to_move else toga.best(fen, moves, "go depth 10")
            if move in (None, "0000", "(none)", "a1a1"):  # toga2 answers a1a1 when mated
                result = ("Quarvelle" if ours_to_move else "toga2") + " has no move (mate or stalemate)"
                break
            moves.append(move)
        print("%s: %d plies, %s\n  %s" % (fen, len(moves), result, " ".join(moves)))
        ours.quit()
        toga.quit()


if __name__ == "__main__":
    main()
