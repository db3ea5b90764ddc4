"""The lines the program prints, built independently of it."""

TITLES = {
    "MOS001": "manifest parse error",
    "MOS002": "invalid package name",
    "MOS003": "invalid version or constraint",
    "MOS004": "dependency not found",
    "MOS005": "dependency conflict",
    "MOS006": "package not found",
    "MOS007": "checksum verification failed",
    "MOS008": "registry error",
    "MOS009": "authentication error",
    "MOS010": "invalid package archive",
    "MOS011": "path traversal security violation",
    "MOS012": "build failed",
}


def status(verb, message):
    """A status line: the verb in bold green."""
    return f"\x1b[1;32m{verb}\x1b[0m {message}\n"


def heading(verb, message):
    """A heading line: the verb in bold cyan."""
    return f"\x1b[1;36m{verb}\x1b[0m {message}\n"


def error_line(message):
    """A line on standard error: "error" in bold red."""
    return f"\x1b[1;31merror\x1b[0m: {message}\n"


def debug_line(message):
    """A line that is shown from -vv on."""
    return f"  [DEBUG] {message}\n"


def block(code, message, help=""):
    """The error block of a display code such as "MOS001"."""
    text = f"error[{code}]: {TITLES[code]}\n  {message}\n"
    return text + f"  = help: {help}\n" if help else text


def file_error_line(operation, reason, *paths):
    """The line of a file-system error as the C++ library words it: "operation: reason [path]"."""
    shown = "".join(f" [{path}]" for path in paths)
    return error_line(f"Unexpected error: filesystem error: {operation}: {reason}{shown}")
