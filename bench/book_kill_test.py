#!/usr/bin/env python3
"""Kills the engine with SIGKILL at random moments of games played with book learning and position learning on,
and checks after each kill that the book and the learning file are whole and that nothing learnt before was lost.

    bench/book_kill_test.py BUILD/quarvelle [KILLS] [SEED]

Runs in a temporary folder with a copy of values.txt and of the shipped Book.qvl. Prints the number of kills and
of kills that left a problem; exits 1 if any did."""
import os, random, shutil, signal, struct, subprocess, sys, tempfile, time

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


def main():
    engine = os.path.abspath(sys.argv[1])
    kills = int(sys.argv[2]) if len(sys.argv) > 2 else 100
    rng = random.Random(int(sys.argv[3]) if len(sys.argv) > 3 else 1)
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
    for kill in range(kills):
        proc = subprocess.Popen([engine], cwd=work, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, text=True, bufsize=1)
        # Self-play: the engine plays the side to move after each of its moves, a new game every 16 plies, mostly
        # book moves learnt as a draw at each new game, so that the book is written while the kill may come.
        proc.stdin.write("xboard\neasy\nst 0.1\nnew\ngo\n")
        proc.stdin.flush()
        deadline = time.time() + rng.uniform(0.2, 4.0)
        plies = 0
        os.set_blocking(proc.stdout.fileno(), False)
        buffer = ""
        while time.time() < deadline:
            time.sleep(0.01)
            try:
                buffer += os.read(proc.stdout.fileno(), 65536).decode(errors="replace")
            except BlockingIOError:
                pass
            while "\n" in buffer:
                line, buffer = buffer.split("\n", 1)
                if line.startswith("move ") or "{" in line:
                    plies += 1
                    over = "{" in line or plies >= 16
                    proc.stdin.write("new\ngo\n" if over else "go\n")
                    proc.stdin.flush()
                    if over:
                        plies = 0
        proc.send_signal(signal.SIGKILL)
        proc.wait()
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
    shutil.rmtree(work)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
