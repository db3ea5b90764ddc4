"""Tables and plots of what was measured."""

import html


def time_text(seconds):
    if seconds < 0.01:
        return f"{seconds * 1000:.2f} ms"
    if seconds < 1:
        return f"{seconds * 1000:.0f} ms"
    return f"{seconds:.2f} s"


def table(title, rows, note=""):
    """Markdown: rows are (name, seconds, relative spread, processor seconds or None); the first row
    is what the others are compared with."""
    base = rows[0][1]
    lines = [f"### {title}", ""]
    if note:
        lines += [note, ""]
    lines += ["| | median | spread | processor | ratio |", "|---|---:|---:|---:|---:|"]
    for name, seconds, spread, processor in rows:
        used = "" if processor is None else time_text(processor)
        lines.append(
            f"| {name} | {time_text(seconds)} | ±{spread * 100:.0f} % | {used} | {seconds / base:.2f} |"
        )
    return "\n".join(lines) + "\n"


def plot(title, rows):
    """A bar for each row, as SVG."""
    height = 26 * len(rows) + 50
    longest = max(seconds for _, seconds, _, _ in rows)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="720" height="{height}" '
        'font-family="sans-serif" font-size="13">',
        f'<text x="10" y="22" font-weight="bold">{html.escape(title)}</text>',
    ]
    for number, (name, seconds, _, _) in enumerate(rows):
        y = 38 + 26 * number
        width = max(1, 400 * seconds / longest)
        color = "#1f6feb" if name.startswith("mos") else "#8b949e"
        parts.append(f'<text x="190" y="{y + 15}" text-anchor="end">{html.escape(name)}</text>')
        parts.append(f'<rect x="200" y="{y}" width="{width:.1f}" height="20" fill="{color}"/>')
        parts.append(f'<text x="{206 + width:.1f}" y="{y + 15}">{time_text(seconds)}</text>')
    return "\n".join([*parts, "</svg>"]) + "\n"
