#!/usr/bin/env python3
"""Builds the long game of the shell tests and its known answers.

Run once, by hand; the tests read only what it writes:

    tests/shell/make_long_game.py [--stockfish /usr/games/stockfish]

Stockfish serves as the independent move lister and oracle: `position startpos moves ...`, then `d` gives the
FEN and `go perft N` the legal moves and counts. The game is played by a fixed-seed random policy:

- quiet stretches of knight, bishop, rook, queen and king moves, some of them longer than 100 and one longer than
  255 plies, broken by a pawn move or a capture (the reset of the fifty-move count);
- shuffle blocks inside the stretches: two moves and their reverses, twice over, so that positions repeat three
  times;
- the kings and the h-rooks stay where they are unless a check forces them away, f1, g1, f8 and g8 stay empty
  once vacated, the white pawn goes to e5 at once and the black d-pawn waits: the last ply is d7d5, so that the
  final position offers white both e5d6 en passant and e1g1, rights that the engine has to carry through the
  whole game (seeds are tried in turn until a game ends so).

Writes data/long_game.txt (one line of coordinate moves) and data/long_game_answers.txt (for several plies of the
game: the FEN, the number of legal moves, the sorted list of legal moves as the engine's `moves` prints them,
piece letter, from and to, and the perft 2 count).
"""
import argparse
import os
import random
import re
import subprocess
import sys

PLIES = 1200
CHECKPOINTS = [1, 128, 511, 512, 513, 600, 800, 1024, 1197, 1199, 1200]
# Quiet stretch lengths in plies, in order; the schedule repeats if the game is not yet long enough.
STRETCHES = [24, 61, 99, 100, 37, 101, 80, 300, 45, 73, 120, 58, 90, 66, 83, 51, 97]
MOVE_LINE = re.compile(r'^([a-h][1-8][a-h][1-8][qrbn]?): (\d+)$')

HERE = os.path.dirname(os.path.abspath(__file__))


class Oracle:
    def __init__(self, path):
        self.process = subprocess.Popen([path], stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                        bufsize=1)
        self.send('uci')
        self.read_until('uciok')

    def send(self, line):
        self.process.stdin.write(line + '\n')
        self.process.stdin.flush()

    def read_until(self, prefix):
        lines = []
        while True:
            line = self.process.stdout.readline()
            if not line:
                sys.exit('stockfish ended unexpectedly')
            line = line.rstrip('\n')
            lines.append(line)
            if line.startswith(prefix):
                return lines

    def set_position(self, moves):
        self.send('position startpos' + (' moves ' + ' '.join(moves) if moves else ''))

    def fen(self, moves):
        self.set_position(moves)
        self.send('d')
        self.send('isready')
        for line in self.read_until('readyok'):
            if line.startswith('Fen: '):
                return line[5:]
        sys.exit('no FEN from stockfish')

    def perft(self, moves, depth):
        """The moves of the root (with their counts) and the total."""
        self.set_position(moves)
        self.send('go perft %d' % depth)
        lines = self.read_until('Nodes searched')
        roots = [MOVE_LINE.match(line).group(1) for line in lines if MOVE_LINE.match(line)]
        return roots, int(lines[-1].split(':')[1])

    def close(self):
        self.send('quit')
        self.process.wait()


def board_of(fen):
    board = {}
    for rank_index, row in enumerate(fen.split()[0].split('/')):
        file = 0
        for c in row:
            if c.isdigit():
                file += int(c)
            else:
                board['abcdefgh'[file] + str(8 - rank_index)] = c
                file += 1
    return board


# Squares whose pieces must stay and squares no piece may enter, so that the final position keeps its rights.
FIXED_FROM = {'e1', 'h1', 'e8', 'h8', 'e5', 'd7'}
NO_ENTRY = {'e1', 'h1', 'e8', 'h8', 'e5', 'd7', 'd6', 'd5', 'f1', 'g1', 'f8', 'g8'}


def allowed(move):
    return move[:2] not in FIXED_FROM and move[2:4] not in NO_ENTRY


def is_capture(board, move):
    piece = board[move[:2]]
    return move[2:4] in board or (piece in 'Pp' and move[0] != move[2])


def is_pawn(board, move):
    return board[move[:2]] in 'Pp'


def position_key(fen):
    return ' '.join(fen.split()[:4])


class Game:
    def __init__(self, oracle, rng):
        self.oracle = oracle
        self.rng = rng
        self.moves = []
        self.fen = oracle.fen([])
        self.legal, _ = oracle.perft([], 1)

    def board(self):
        return board_of(self.fen)

    def play(self, move):
        """Plays a legal move unless it leaves the opponent without a move; True if played."""
        assert move in self.legal, move
        trial = self.moves + [move]
        legal, count = self.oracle.perft(trial, 1)
        if count == 0:
            return False
        self.moves = trial
        self.fen = self.oracle.fen(trial)
        self.legal = legal
        return True

    def candidates(self, kind):
        board = self.board()
        moves = [m for m in self.legal if allowed(m)]
        if kind == 'quiet':
            return [m for m in moves if not is_capture(board, m) and not is_pawn(board, m)]
        if kind == 'pawn':
            return [m for m in moves if is_pawn(board, m) and not is_capture(board, m)]
        if kind == 'capture':
            return [m for m in moves if is_capture(board, m) and board.get(m[2:4], 'p') not in 'Kk']
        return moves

    def play_one_of(self, moves):
        moves = list(moves)
        self.rng.shuffle(moves)
        for move in moves:
            if self.play(move):
                return move
        return None

    def play_quiet(self):
        if self.play_one_of(self.candidates('quiet')):
            return True
        # Nothing quiet is allowed (a check, say): any allowed move, then any move at all.
        return bool(self.play_one_of(self.candidates('any')) or self.play_one_of(self.legal))

    def play_shuffle(self):
        """Two moves and their reverses, twice: the position before them comes three times. False if it broke."""
        quiet = self.candidates('quiet')
        if not quiet:
            return False
        first = self.rng.choice(quiet)
        if not self.play(first):
            return False
        quiet = self.candidates('quiet')
        if not quiet:
            return True
        second = self.rng.choice(quiet)
        if not self.play(second):
            return True
        for move in [first[2:4] + first[:2], second[2:4] + second[:2], first, second,
                     first[2:4] + first[:2], second[2:4] + second[:2]]:
            if move not in self.legal or not self.play(move):
                return True
        return True


def build_game(oracle, seed):
    rng = random.Random(seed)
    game = Game(oracle, rng)
    for move in ['e2e4', None, 'e4e5']:
        if move is None:
            game.play_quiet()
        elif move not in game.legal or not game.play(move):
            return None
    stretch_index = 0
    quiet_run = 0
    resets = []
    while len(game.moves) < PLIES - 2:
        target = STRETCHES[stretch_index % len(STRETCHES)]
        room = PLIES - 2 - len(game.moves)
        if quiet_run >= target or room <= 1:
            kind = 'capture' if len(resets) % 3 == 2 else 'pawn'
            reset = game.play_one_of(game.candidates(kind)) or game.play_one_of(
                game.candidates('pawn' if kind == 'capture' else 'capture'))
            if reset:
                resets.append((len(game.moves), quiet_run))
                quiet_run = 0
                stretch_index += 1
                continue
        before = len(game.moves)
        if room >= 8 and target - quiet_run >= 8 and rng.random() < 0.3:
            game.play_shuffle()
        else:
            game.play_quiet()
        if len(game.moves) == before:
            return None
        quiet_run += len(game.moves) - before
    # The last two plies: a quiet white move, then d7d5, after which white must have e5d6 and e1g1.
    if len(game.moves) != PLIES - 2 or ' w ' not in game.fen:
        return None
    for white_move in rng.sample(game.candidates('quiet'), len(game.candidates('quiet'))):
        trial = game.moves + [white_move]
        legal, _ = oracle.perft(trial, 1)
        if 'd7d5' not in legal:
            continue
        final, _ = oracle.perft(trial + ['d7d5'], 1)
        if 'e5d6' in final and 'e1g1' in final:
            return game.moves + [white_move, 'd7d5'], resets
    return None


def repeated_positions(oracle, moves):
    seen = {}
    for ply in range(len(moves) + 1):
        key = position_key(oracle.fen(moves[:ply]))
        seen[key] = seen.get(key, 0) + 1
    return sum(1 for count in seen.values() if count >= 3)


def engine_move_list(fen, roots):
    board = board_of(fen)
    return sorted(board[m[:2]].upper() + m[:4] for m in roots)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n')[0])
    parser.add_argument('--stockfish', default='/usr/games/stockfish')
    parser.add_argument('--seed', type=int, default=20240646)
    args = parser.parse_args()
    oracle = Oracle(args.stockfish)
    for seed in range(args.seed, args.seed + 200):
        built = build_game(oracle, seed)
        if built:
            break
        print('seed %d gave no usable game' % seed, file=sys.stderr)
    else:
        sys.exit('no usable game found')
    moves, resets = built
    assert len(moves) == PLIES
    data = os.path.join(HERE, 'data')
    os.makedirs(data, exist_ok=True)
    with open(os.path.join(data, 'long_game.txt'), 'w') as out:
        out.write(' '.join(moves) + '\n')
    with open(os.path.join(data, 'long_game_answers.txt'), 'w') as out:
        out.write('# Known answers for long_game.txt, from Stockfish (make_long_game.py, seed %d).\n' % seed)
        out.write('# For each checkpoint: the plies played, the FEN, the number of legal moves, the legal moves\n')
        out.write('# as piece letter + from + to (sorted), the perft 2 count.\n')
        for ply in CHECKPOINTS:
            prefix = moves[:ply]
            fen = oracle.fen(prefix)
            roots, count = oracle.perft(prefix, 1)
            _, perft2 = oracle.perft(prefix, 2)
            out.write('checkpoint %d\n' % ply)
            out.write('fen %s\n' % fen)
            out.write('perft1 %d\n' % count)
            out.write('moves %s\n' % ' '.join(engine_move_list(fen, roots)))
            out.write('perft2 %d\n' % perft2)
            out.write('end\n')
    long_quiet = [r for r in resets if r[1] >= 50]
    print('seed %d: %d plies, %d resets (%d after 50 or more quiet plies, longest quiet run %d), '
          '%d positions seen three times or more' %
          (seed, len(moves), len(resets), len(long_quiet), max(r[1] for r in resets),
           repeated_positions(oracle, moves)))
    oracle.close()


if __name__ == '__main__':
    main()
