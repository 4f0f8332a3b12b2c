#!/usr/bin/env python3
"""Kills the engine with SIGKILL at random moments of games played with book learning and position learning on,
and checks after each kill that the book and the learning file are whole and that nothing learnt before was lost.

    bench/book_kill_test.py BUILD/quarvelle [KILLS] [SEED] [--at-writes]

By default the engine plays itself and the kill comes at a random moment. With --at-writes the engine plays
Stockfish (which beats it, so its score falls and position learning writes records) under strace, which delivers
the kill on entry to a randomly chosen file write: every kill then lands between two writes of an update (a record
appended but not yet linked, a counter pair half learnt), the moments a random clock almost never hits.

Runs in a temporary folder with a copy of values.txt and of the shipped Book.qvl. Prints the number of kills and
of kills that left a problem; exits 1 if any did."""
import os, random, re, shutil, signal, struct, subprocess, sys, tempfile, time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
HEADER = 23 + 4 * 65536
RECORD = 24


def learn_records(path):
    """Every record reachable from the bucket table, as {(nhash1, nhash2): (depth, score)}; raises on damage."""
    data = open(path, "rb").read()
    if len(data) < HEADER or data[:23] != b"Quarvelle learning file":
        raise ValueError("bad learning file header")
    records = {}
    for bucket in range(65536):
        link = struct.unpack_from("<I", data, 23 + 4 * bucket)[0]
        steps = 0
        while link:
            if link < HEADER or link + RECORD > len(data):
                raise ValueError("link %d outside the file" % link)
            depth, score, _, h1, h2, link = struct.unpack_from("<iiIIII", data, link)
            records[(h1, h2)] = (depth, score)
            steps += 1
            if steps > len(data) // RECORD:
                raise ValueError("cycle in bucket %d" % bucket)
    return records


def book_tried(path):
    """The book's bytes outside the counters, and the games recorded by its counters."""
    data = open(path, "rb").read()
    nodes = struct.unpack_from("<i", data, 32)[0]
    frame = bytearray(data)
    for i in range(nodes):
        offset = struct.unpack_from("<I", data, 36 + 12 * i + 8)[0]
        for m in range(data[offset]):
            at = offset + 1 + 4 * m
            frame[at + 2] = frame[at + 3] = 0
    return bytes(frame)


STOCKFISH = "/usr/games/stockfish"
WRITE_KINDS = {2: "book counters", 24: "new position record", 4: "position record link", 20: "position update"}


def last_write(trace):
    """What the killed write was, by its size; "no write" when the run reached its deadline first."""
    lines = [line for line in open(trace) if "pwrite64(" in line]
    if not lines or "killed by SIGKILL" not in open(trace).read().rsplit("pwrite64(", 1)[-1]:
        return "no write"
    found = re.search(r'pwrite64\(\d+, ".*"(?:\.\.\.)?, (\d+), \d+', lines[-1])  # the data may hold any byte
    if not found:
        return "a write strace printed otherwise"
    size = int(found.group(1))
    return WRITE_KINDS.get(size, "%d bytes" % size)


def opponent_reply(stockfish, moves):
    stockfish.stdin.write("position startpos moves %s\ngo depth 10\n" % " ".join(moves))
    stockfish.stdin.flush()
    while True:
        line = stockfish.stdout.readline()
        if not line:
            return None
        if line.startswith("bestmove"):
            reply = line.split()[1]
            return None if reply == "(none)" else reply


def play(proc, rng, deadline, against_stockfish):
    """Drives games until the deadline or the engine's end. Self-play: the engine plays the side to move after each
    of its moves, a new game every 16 plies, mostly book moves learnt as a draw at each new game, so that the book
    is written while the kill may come. Against Stockfish: the engine plays one colour at depth 8 (position
    learning needs some depth)."""
    stockfish = None
    if against_stockfish:
        stockfish = subprocess.Popen([STOCKFISH], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                     stderr=subprocess.DEVNULL, text=True, bufsize=1)
        stockfish.stdin.write("uci\nsetoption name Hash value 16\n")
    moves = []
    white = rng.random() < 0.5
    new = "new\nsd 8\n" if stockfish else "new\n"  # a new game lifts the depth limit
    try:
        proc.stdin.write("xboard\neasy\nst 0.1\n" + new + ("go\n" if white or not stockfish else ""))
        proc.stdin.flush()
        if stockfish and not white:
            moves.append(opponent_reply(stockfish, moves))
            proc.stdin.write(moves[-1] + "\n")
            proc.stdin.flush()
        plies = 0
        os.set_blocking(proc.stdout.fileno(), False)
        buffer = ""
        while time.time() < deadline and proc.poll() is None:
            time.sleep(0.01)
            try:
                buffer += os.read(proc.stdout.fileno(), 65536).decode(errors="replace")
            except BlockingIOError:
                pass
            while "\n" in buffer:
                line, buffer = buffer.split("\n", 1)
                if not (line.startswith("move ") or "{" in line):
                    continue
                if stockfish:
                    reply = None if "{" in line else opponent_reply(stockfish, moves + [line.split()[1]])
                    if reply is None or len(moves) > 200:
                        moves, white = [], not white
                        proc.stdin.write(new + "go\n" if white else new)
                        if not white:
                            moves.append(opponent_reply(stockfish, moves))
                            proc.stdin.write(moves[-1] + "\n")
                    else:
                        moves += [line.split()[1], reply]
                        proc.stdin.write(reply + "\n")
                    proc.stdin.flush()
                    continue
                plies += 1
                over = "{" in line or plies >= 16
                proc.stdin.write("new\ngo\n" if over else "go\n")
                proc.stdin.flush()
                if over:
                    plies = 0
    except (BrokenPipeError, OSError):
        pass  # the kill came while a line was on its way
    finally:
        if stockfish:
            stockfish.kill()
            stockfish.wait()


def main():
    args = [a for a in sys.argv[1:] if a != "--at-writes"]
    at_writes = "--at-writes" in sys.argv
    engine = os.path.abspath(args[0])
    kills = int(args[1]) if len(args) > 1 else 100
    rng = random.Random(int(args[2]) if len(args) > 2 else 1)
    if at_writes and not (shutil.which("strace") and os.path.exists(STOCKFISH)):
        print("--at-writes needs strace and %s" % STOCKFISH)
        return 1
    work = tempfile.mkdtemp(prefix="quarvelle-kill-")
    shutil.copy(os.path.join(ROOT, "values.txt"), work)
    shutil.copy(os.path.join(ROOT, "Book.qvl"), work)
    with open(os.path.join(work, "Quarvelle.ini"), "w") as ini:
        ini.write("Learning = on\nUseLearningData = on\nLogLearningIntoFile = on\nBookLearningBound = 150\n")
    book = os.path.join(work, "Book.qvl")
    learn = os.path.join(work, "Learn.qv1")
    frame = book_tried(book)
    original = open(book, "rb").read()
    known = {}
    problems = 0
    trace = os.path.join(work, "trace.txt")
    run_seconds = 30.0
    writes_per_run = 0
    if at_writes:
        # One run without a kill tells how many writes a run of this length makes.
        proc = subprocess.Popen(["strace", "-f", "-qq", "-o", trace, "-e", "trace=pwrite64", engine], cwd=work,
                                stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                text=True, bufsize=1, start_new_session=True)
        play(proc, rng, time.time() + run_seconds, True)
        os.killpg(proc.pid, signal.SIGKILL)
        proc.wait()
        writes_per_run = sum(1 for line in open(trace) if "pwrite64(" in line)
        known = learn_records(learn)
        print("%d writes in a %.0f s run, %d position records after it" % (writes_per_run, run_seconds, len(known)))
    landed = {}
    for kill in range(kills):
        if at_writes:
            # Kill on entry to the n-th write: n is drawn over the first two thirds of the writes a run made, so
            # that most runs meet their write before the deadline on a slower, busier machine.
            write = rng.randint(1, max(1, writes_per_run * 2 // 3))
            command = ["strace", "-f", "-qq", "-o", trace, "-e", "trace=pwrite64",
                       "-e", "inject=pwrite64:signal=KILL:when=%d" % write, engine]
        else:
            command = [engine]
        proc = subprocess.Popen(command, cwd=work, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True, bufsize=1, start_new_session=True)
        play(proc, rng, time.time() + (run_seconds if at_writes else rng.uniform(0.2, 4.0)), at_writes)
        try:
            os.killpg(proc.pid, signal.SIGKILL)  # strace and the engine under it
        except ProcessLookupError:
            pass  # the injected kill has ended them already
        proc.wait()
        if at_writes:
            kind = last_write(trace)
            landed[kind] = landed.get(kind, 0) + 1
        try:
            if book_tried(book) != frame:
                raise ValueError("book changed outside its counters")
            records = learn_records(learn) if os.path.exists(learn) else {}
            lost = [k for k in known if k not in records]
            if lost:
                raise ValueError("%d learnt records lost" % len(lost))
            known = records
            out = subprocess.run([engine], cwd=work, input="bkm\nquit\n", capture_output=True, text=True,
                                 timeout=60).stdout
            if "nodes in openings book" not in out or "moves from current pos in book" not in out:
                raise ValueError("the book no longer opens: " + out[-300:])
        except ValueError as problem:
            problems += 1
            print("kill %d: %s" % (kill + 1, problem))
    changed = sum(a != b for a, b in zip(original, open(book, "rb").read()))
    print("%d kills, %d left a problem; %d book counter bytes learnt, %d position records at the end"
          % (kills, problems, changed, len(known)))
    if at_writes:
        print("kills by the write they landed on: " +
              ", ".join("%s %d" % (kind, count) for kind, count in sorted(landed.items())))
    shutil.rmtree(work)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
