"""Small pictures of a run, as SVG."""

from xml.sax.saxutils import escape

WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 640, 320, 70, 20, 40, 45
COLOURS = ["#1f6fb4", "#d1662b", "#3a8f3a"]


def _text(x, y, content, anchor="middle", size=12):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}">'
            f"{escape(content)}</text>")


def _document(width, height, parts):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
            f'font-family="sans-serif" fill="#222">\n'
            f'<rect width="{width}" height="{height}" fill="white"/>\n' + "\n".join(parts) +
            "\n</svg>\n")


def _number(value):
    for limit, unit in ((1e6, "M"), (1e3, "k")):
        if value >= limit:
            return f"{value / limit:.3g}{unit}"
    return f"{value:.3g}"


def curve(title, x_label, y_label, points):
    """A line over equally spaced x values; points: (x, low, middle, high)."""
    top = max(high for _, _, _, high in points) * 1.05
    plot_width, plot_height = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM

    def place(index, value):
        return (LEFT + plot_width * (index + 0.5) / len(points),
                TOP + plot_height * (1 - value / top))

    parts = [_text(WIDTH / 2, 22, title, size=14), _text(WIDTH / 2, HEIGHT - 8, x_label),
             _text(8, TOP - 10, y_label, "start")]
    for tick in range(5):
        y = TOP + plot_height * (1 - tick / 4)
        parts.append(f'<line x1="{LEFT}" x2="{WIDTH - RIGHT}" y1="{y:.1f}" y2="{y:.1f}" '
                     f'stroke="#ddd"/>')
        parts.append(_text(LEFT - 6, y + 4, _number(top * tick / 4), "end"))
    for index, (x, low, _, high) in enumerate(points):
        (left, y_low), (_, y_high) = place(index, low), place(index, high)
        parts.append(f'<line x1="{left:.1f}" x2="{left:.1f}" y1="{y_low:.1f}" y2="{y_high:.1f}" '
                     f'stroke="{COLOURS[0]}" stroke-opacity="0.5"/>')
        parts.append(_text(left, HEIGHT - BOTTOM + 16, str(x)))
    line = " ".join("{:.1f},{:.1f}".format(*place(index, middle))
                    for index, (_, _, middle, _) in enumerate(points))
    parts.append(f'<polyline points="{line}" fill="none" stroke="{COLOURS[0]}" stroke-width="2"/>')
    return _document(WIDTH, HEIGHT, parts)


def bars(title, rows):
    """One bar a row, of its value beside its goal; rows: (label, value, goal)."""
    step, left, width = 24, 430, 760
    top = max(max(value, goal) for _, value, goal in rows) * 1.15
    scale = (width - left - 60) / top
    parts = [_text(width / 2, 22, title, size=14)]
    for index, (label, value, goal) in enumerate(rows):
        y = 40 + index * step
        parts.append(_text(left - 8, y + 13, label, "end", 11))
        parts.append(f'<rect x="{left}" y="{y}" width="{value * scale:.1f}" height="16" '
                     f'fill="{COLOURS[0]}"/>')
        mark = left + goal * scale
        parts.append(f'<line x1="{mark:.1f}" x2="{mark:.1f}" y1="{y - 2}" y2="{y + 18}" '
                     f'stroke="{COLOURS[1]}" stroke-width="2"/>')
        parts.append(_text(left + value * scale + 5, y + 13, f"{value:.2f}", "start", 11))
    height = 40 + len(rows) * step + 26
    parts.append(_text(width / 2, height - 8, "bar: measured ratio, line: its goal", size=11))
    return _document(width, height, parts)
