#!/usr/bin/env python3
"""A long soak of the engine as a tournament operator runs it: many fast games against Debian engines, with the
shipped book and the tablebases on, half of them with pondering, some with MultiPV 3. Prints the games played and
the crashes, illegal moves, time losses and hangs of our engine, and its peak resident memory.

    bench/soak.py [--engine build/quarvelle] [--games 2000] [--opponents toga2,glaurung] [--syzygy DIR]

The games without pondering go through ../shared/tools/match, a quarter of them with MultiPV 3. The match runner
does not ponder, so the games with pondering are played here by a small UCI referee: the engine gets
"go ponder" on its predicted move after each of its moves, "ponderhit" when the opponent plays it, "stop" when
not; its clock runs from the opponent's move to its bestmove. Every move is checked against Stockfish's list of
legal moves ("go perft 1"), and positions, repetition and the fifty-move count are read from its "d" command.
Time controls alternate between 1+0.01 and 5+0.05. Peak memory is read from each engine process at its exit."""
import argparse, json, os, random, re, shutil, subprocess, sys, tempfile, threading, time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SHARED = os.path.join(os.path.dirname(ROOT), "shared")
STOCKFISH = "/usr/games/stockfish"
CLOCKS = [(1000, 10), (5000, 50)]
MARGIN_MS = 100    # an overrun the match runner forgives too
HANG_MS = 10000    # no answer this long after the clock has run out: a hang


class Uci:
    """An engine over pipes, with lines read by a thread so that waits can time out."""

    def __init__(self, command, cwd=None):
        self.proc = subprocess.Popen(command, cwd=cwd, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, text=True, bufsize=1)
        self.lines, self.cond = [], threading.Condition()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        for line in self.proc.stdout:
            with self.cond:
                self.lines.append(line.rstrip("\n"))
                self.cond.notify()
        with self.cond:
            self.lines.append(None)
            self.cond.notify()

    def send(self, text):
        self.sent = (getattr(self, "sent", []) + text.split("\n"))[-6:]  # for the report of a hang
        try:
            self.proc.stdin.write(text + "\n")
            self.proc.stdin.flush()
        except (BrokenPipeError, OSError):
            pass

    def wait_for(self, prefix, seconds):
        """The first line starting with prefix, None at exit, False after the wait."""
        end = time.time() + seconds
        with self.cond:
            while True:
                while self.lines:
                    line = self.lines.pop(0)
                    if line is None:
                        self.lines.insert(0, None)
                        return None
                    if line.startswith(prefix):
                        return line
                left = end - time.time()
                if left <= 0:
                    return False
                self.cond.wait(left)

    def peak_kb(self):
        try:
            return int(re.search(r"VmHWM:\s+(\d+)", open("/proc/%d/status" % self.proc.pid).read()).group(1))
        except (OSError, AttributeError):
            return 0

    def close(self):
        self.send("quit")
        try:
            self.proc.wait(timeout=5)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()


class Oracle:
    """Stockfish as the referee of legality and game state."""

    def __init__(self):
        self.engine = Uci([STOCKFISH])
        self.engine.send("uci")
        self.engine.wait_for("uciok", 30)

    def state(self, fen, moves):
        self.engine.send("position fen %s moves %s\nd\ngo perft 1" % (fen, " ".join(moves)))
        board = self.engine.wait_for("Fen:", 30)
        checkers = self.engine.wait_for("Checkers:", 30)
        legal = []
        while True:
            line = self.engine.wait_for("", 30)
            if not line or line.startswith("Nodes searched"):
                break
            if re.match(r"^[a-h][1-8][a-h][1-8][qrbn]?: ", line):
                legal.append(line.split(":")[0])
        return board.split(" ", 1)[1], checkers.split(":", 1)[1].strip() != "", set(legal)


def ponder_game(engine, opponent, oracle, fen, engine_white, base, inc, counts):
    """One game with pondering; returns the result from our engine's side (1, 0.5, 0) or None when it failed."""
    for side in (engine, opponent):
        side.send("ucinewgame\nisready")
        side.wait_for("readyok", 30)
    clock = {True: base, False: base}  # by "is our engine"
    moves, seen, ponder_move = [], {}, None
    while True:
        board, in_check, legal = oracle.state(fen, moves)
        if not legal:
            return (0 if in_check else 0.5) if ours_to_move(board, engine_white) else (1 if in_check else 0.5)
        key = " ".join(board.split()[:4])
        seen[key] = seen.get(key, 0) + 1
        if seen[key] >= 3 or int(board.split()[4]) >= 100 or len(moves) >= 400:
            return 0.5
        ours = ours_to_move(board, engine_white)
        side = engine if ours else opponent
        wtime, btime = (clock[True], clock[False]) if engine_white else (clock[False], clock[True])
        go = "go wtime %d btime %d winc %d binc %d" % (wtime, btime, inc, inc)
        start = time.time()
        if ours:
            engine.pondering = False  # a hit turns the ponder search into ours, a miss stops it
        if ours and ponder_move is not None and moves[-1] == ponder_move:
            side.send("ponderhit")
            counts["ponder hits"] += 1
        else:
            if ours and ponder_move is not None:
                side.send("stop")
                counts["ponder misses"] += 1
                if side.wait_for("bestmove", HANG_MS / 1000) in (None, False):
                    counts["hangs"] += 1
                    print("  no bestmove after stop; last commands: " + " | ".join(side.sent), flush=True)
                    return None
                start = time.time()
            side.send("position fen %s moves %s\n%s" % (fen, " ".join(moves), go))
        line = side.wait_for("bestmove", (clock[ours] + HANG_MS) / 1000)
        used = (time.time() - start) * 1000
        if line is None or line is False:
            if ours:
                counts["crashes" if line is None else "hangs"] += 1
                print("  %s; last commands: %s" % ("exit" if line is None else "no bestmove", " | ".join(side.sent)),
                      flush=True)
            return None if ours else 1
        if used > clock[ours] + MARGIN_MS:
            if ours:
                counts["time losses"] += 1
            return 0 if ours else 1
        clock[ours] += inc - used
        words = line.split()
        move = words[1]
        if move not in legal:
            if ours:
                counts["illegal moves"] += 1
            return 0 if ours else 1
        moves.append(move)
        if ours:
            ponder_move = None
        if ours and len(words) >= 4 and words[2] == "ponder":
            ponder_move = words[3]
            _, _, after = oracle.state(fen, moves)
            if ponder_move not in after:
                counts["illegal moves"] += 1
                return 0
            wtime, btime = (clock[True], clock[False]) if engine_white else (clock[False], clock[True])
            engine.pondering = True
            side.send("position fen %s moves %s %s\ngo ponder wtime %d btime %d winc %d binc %d"
                      % (fen, " ".join(moves), ponder_move, wtime, btime, inc, inc))


def ours_to_move(board, engine_white):
    return (board.split()[1] == "w") == engine_white


def ponder_games(args, openings, games, work, counts, rng):
    """Games with pondering, one engine process per opponent and time control for fifty games at most."""
    oracle = Oracle()
    played = peak = 0
    while played < games:
        base, inc = CLOCKS[played // 50 % len(CLOCKS)]  # each opponent meets both clocks
        opponent_name = args.opponents[played // (50 * len(CLOCKS)) % len(args.opponents)]
        engine = Uci([args.engine], cwd=work)
        opponent = Uci(["/usr/games/" + opponent_name])
        for side, options in ((engine, ["Hash value 16", "SyzygyPath value " + args.syzygy]),
                              (opponent, ["Hash value 16"])):
            side.send("uci\n" + "".join("setoption name %s\n" % o for o in options) + "isready")
            side.wait_for("readyok", 60)
        for game in range(min(50, games - played)):
            fen = rng.choice(openings)
            engine.pondering = False
            result = ponder_game(engine, opponent, oracle, fen, game % 2 == 0, base, inc, counts)
            if engine.pondering:  # the game ended on the opponent's move: a GUI stops the ponder search
                engine.send("stop")
                if engine.wait_for("bestmove", HANG_MS / 1000) in (None, False):
                    counts["hangs"] += 1
                    result = None
            played += 1
            counts["ponder games"] += 1
            if result is None:
                break  # the engine is gone or stuck: a fresh one for the next games
        peak = max(peak, engine.peak_kb())
        engine.close()
        opponent.close()
    oracle.engine.close()
    return peak


def match_games(args, games, work, counts):
    """Games without pondering through the match runner; peak memory by /usr/bin/time around each engine."""
    wrapper = os.path.join(work, "engine.sh")
    peaks = os.path.join(work, "peaks.txt")
    with open(wrapper, "w") as out:
        out.write('#!/bin/sh\nexec /usr/bin/time -f %%M -a -o %s %s\n' % (peaks, args.engine))
    os.chmod(wrapper, 0o755)
    played = 0
    batch = 0
    while played < games:
        count = min(100, games - played)
        base, inc = CLOCKS[batch % len(CLOCKS)]
        opponent = args.opponents[batch // len(CLOCKS) % len(args.opponents)]
        multipv = ["option.MultiPV=3"] if batch % 4 == 3 else []
        pgn = os.path.join(work, "batch%d.pgn" % batch)
        command = ["node", os.path.join(SHARED, "tools/match/match.mjs"),
                   "--engine", "cmd=" + wrapper, "name=quarvelle", "dir=" + work, "option.Hash=16",
                   "option.SyzygyPath=" + args.syzygy] + multipv + [
                   "--engine", "cmd=/usr/games/" + opponent, "name=" + opponent, "option.Hash=16",
                   "--games", str(count), "--tc", "%g+%g" % (base / 1000, inc / 1000),
                   "--concurrency", str(args.concurrency), "--openings", os.path.join(SHARED, "data/openings.epd"),
                   "--random-openings", "--seed", str(args.seed * 1000 + batch), "--pgn", pgn]
        subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        text = open(pgn).read() if os.path.exists(pgn) else ""
        for reason, key in (("quarvelle lost on time", "time losses"), ("quarvelle played illegal", "illegal moves"),
                            ("quarvelle crashed", "crashes"), ("quarvelle did not answer", "hangs")):
            counts[key] += text.count(reason)
        counts["match games"] += text.count("[Result ")
        played += count
        batch += 1
        print("  %d match games, %s" % (counts["match games"], json.dumps(counts)), flush=True)
    return max((int(line) for line in open(peaks) if line.strip().isdigit()), default=0)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--engine", default=os.path.join(ROOT, "build/quarvelle"))
    parser.add_argument("--games", type=int, default=2000)
    parser.add_argument("--opponents", default="toga2,glaurung")
    parser.add_argument("--syzygy", default=os.path.join(SHARED, "syzygy"))
    parser.add_argument("--concurrency", type=int, default=1)
    parser.add_argument("--seed", type=int, default=1, help="openings; runs with other seeds add up")
    args = parser.parse_args()
    args.engine = os.path.abspath(args.engine)
    args.opponents = args.opponents.split(",")
    for need in [args.engine, STOCKFISH] + ["/usr/games/" + o for o in args.opponents]:
        if not os.path.exists(need):
            sys.exit("missing: " + need)
    work = tempfile.mkdtemp(prefix="quarvelle-soak-")
    for name in ("values.txt", "Book.qvl"):
        shutil.copy(os.path.join(ROOT, name), work)
    openings = [line.strip() for line in open(os.path.join(SHARED, "data/openings.epd")) if line.strip()]
    openings = [" ".join(line.split()[:4]) + " 0 1" for line in openings]
    counts = {"match games": 0, "ponder games": 0, "crashes": 0, "illegal moves": 0, "time losses": 0, "hangs": 0,
              "ponder hits": 0, "ponder misses": 0}
    started = time.time()
    peak_match = match_games(args, args.games - args.games // 2, work, counts)
    peak_ponder = ponder_games(args, openings, args.games // 2, work, counts, random.Random(args.seed))
    print("%d games in %.0f min (%d through the match runner, %d with pondering): %d crashes, %d illegal moves, "
          "%d time losses, %d hangs; %d ponder hits, %d misses; peak resident memory %.1f MB"
          % (counts["match games"] + counts["ponder games"], (time.time() - started) / 60, counts["match games"],
             counts["ponder games"], counts["crashes"], counts["illegal moves"], counts["time losses"],
             counts["hangs"], counts["ponder hits"], counts["ponder misses"], max(peak_match, peak_ponder) / 1024))
    shutil.rmtree(work)
    return 1 if any(counts[k] for k in ("crashes", "illegal moves", "time losses", "hangs")) else 0


if __name__ == "__main__":
    sys.exit(main())
