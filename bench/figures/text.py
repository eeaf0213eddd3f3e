"""Tables and numbers as Markdown has them."""


def table(header, rows):
    lines = ["| " + " | ".join(header) + " |", "| " + " | ".join(["---"] + ["---:"] * (len(header) - 1)) + " |"]
    return "\n".join(lines + ["| " + " | ".join(row) + " |" for row in rows])


def ns(value):
    return f"{value:,.1f}" if value < 1000 else f"{value:,.0f}"


def titled(title, content):
    return f"{title}\n\n{content}"


def bound(row):
    return f"{'≤' if row['most'] else '≥'} {row['bar']:g}"


def size(count):
    """Bytes, in the largest unit that leaves no fraction."""
    for unit, factor in (("MiB", 1 << 20), ("KiB", 1 << 10)):
        if count and count % factor == 0:
            return f"{count // factor} {unit}"
    return f"{count} B"
