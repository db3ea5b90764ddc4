"""Tables and plots of what was measured."""

import html
from dataclasses import dataclass, field


def time_text(seconds):
    if seconds < 1e-3:
        return f"{seconds * 1e6:.2f} µs"
    if seconds < 0.01:
        return f"{seconds * 1e3:.2f} ms"
    if seconds < 1:
        return f"{seconds * 1e3:.0f} ms"
    return f"{seconds:.2f} s"


def markdown(title, note, head, rows):
    lines = [f"### {title}", ""]
    if note:
        lines += [note, ""]
    lines += [f"| {' | '.join(head)} |", "|---|" + "---:|" * (len(head) - 1)]
    lines += [f"| {' | '.join(row)} |" for row in rows]
    return "\n".join(lines) + "\n"


@dataclass
class Timings:
    """Rows (of timing.py) that are compared with the first one."""

    title: str
    rows: list
    note: str = ""
    left_out: list = field(default_factory=list)

    def text(self):
        base = self.rows[0].median
        note = " ".join([self.note, *(f"Left out: {reason}." for reason in self.left_out)])
        return markdown(
            self.title,
            note.strip(),
            ["", "median", "spread", "processor", "ratio"],
            [
                [
                    row.name,
                    time_text(row.median),
                    "one run" if row.spread is None else f"±{row.spread * 100:.0f} %",
                    "" if row.processor_median is None else time_text(row.processor_median),
                    f"{row.median / base:.2f}",
                ]
                for row in self.rows
            ],
        )

    def plot(self):
        return bars(self.title, [(row.name, row.median) for row in self.rows])


@dataclass
class BesideLookups:
    """Rows (name, seconds, seconds of the look-ups alone)."""

    title: str
    rows: list
    note: str = ""

    def text(self):
        return markdown(
            self.title,
            self.note,
            ["", "median", "look-ups alone", "beyond them", "ratio"],
            [
                [
                    name,
                    time_text(seconds),
                    time_text(lookups),
                    time_text(max(0.0, seconds - lookups)),
                    f"{seconds / lookups:.2f}",
                ]
                for name, seconds, lookups in self.rows
            ],
        )

    def plot(self):
        return bars(self.title, [(name, seconds) for name, seconds, _ in self.rows])


def bars(title, rows):
    """A bar for each (name, seconds), as SVG."""
    height = 26 * len(rows) + 50
    longest = max(seconds for _, seconds in rows)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="760" height="{height}" '
        'font-family="sans-serif" font-size="13">',
        f'<text x="10" y="22" font-weight="bold">{html.escape(title)}</text>',
    ]
    for number, (name, seconds) in enumerate(rows):
        y = 38 + 26 * number
        width = max(1, 400 * seconds / longest)
        color = "#1f6feb" if name.startswith("mos") else "#8b949e"
        parts.append(f'<text x="250" y="{y + 15}" text-anchor="end">{html.escape(name)}</text>')
        parts.append(f'<rect x="260" y="{y}" width="{width:.1f}" height="20" fill="{color}"/>')
        parts.append(f'<text x="{266 + width:.1f}" y="{y + 15}">{time_text(seconds)}</text>')
    return "\n".join([*parts, "</svg>"]) + "\n"
