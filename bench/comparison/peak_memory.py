"""How much memory a program takes.

    peak_memory.py PROGRAM [ARGUMENT]...

Prints the most memory that the program had at a time, in bytes, instead of what it prints itself.
The kernel counts what the parent of a process had before it as well, which therefore has to be as
small as this one.
"""

import os
import sys


def main():
    child = os.fork()
    if child == 0:
        silence = os.open(os.devnull, os.O_WRONLY)
        os.dup2(silence, 1)
        os.execvp(sys.argv[1], sys.argv[1:])
    _, status, used = os.wait4(child, 0)
    print(used.ru_maxrss * 1024)
    return os.waitstatus_to_exitcode(status)


if __name__ == "__main__":
    sys.exit(main())
