# SPDX-License-Identifier: Apache-2.0
"""Draws cost over the number of users, log-log, as SVG."""
import math

WIDTH, HEIGHT = 760, 440
LEFT, RIGHT, TOP, BOTTOM = 80, 190, 50, 60
COLOURS = ("#0b6bcb", "#d1495b", "#3a7d44", "#8d6a9f", "#666666")
SIZES = (10, 1000, 100000, 1000000)

PLOTS = {
    "lookup.svg": ("Lookup of the last user, file unchanged", {
        "libgrex": "grexLookup/last/{}", "plain scan": "scan/last/{}",
        "cdb": "cdbLookup/last/{}", "open, fstat, close": "floorOfLookup/{}"}),
    "login.svg": ("Login of a local user (SHA-512 crypt)", {
        "libgrex": "grexLocAuthenticate/{}", "pam_pwdfile": "pamLogin/pwdfile/{}",
        "bare crypt": "bareCrypt"}),
    "reread.svg": ("A changed file is read again", {
        "libgrex": "grexReread/alone/{}", "and 1 lookup": "grexReread/lookup/{}",
        "and 5 lookups": "grexReread/lookups/{}", "std::getline loop": "getlineLoop/{}"}),
    "removal.svg": ("Removal of a user", {
        "libgrex": "grexRemoval/{}", "libuser": "libuserRemoval/{}",
        "the same steps by hand": "removalByHand/{}"}),
}


def unit(nanoseconds):
    for name, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:g} {name}"
    return f"{nanoseconds:g} ns"


def text(x, y, content, anchor="start", colour="#222", size=13):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" fill="{colour}" '
            f'font-size="{size}">{content}</text>')


class Axes:
    """Maps users and nanoseconds to the picture, a decade a step."""

    def __init__(self, curves):
        points = [point for curve in curves.values() for point in curve]
        self.x = self.decades([users for users, _ in points])
        self.y = self.decades([time for _, time in points])

    @staticmethod
    def decades(values):
        low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
        return low, max(high, low + 1)

    def place(self, users, time):
        right, down = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM
        x = LEFT + right * (math.log10(users) - self.x[0]) / (self.x[1] - self.x[0])
        y = TOP + down * (1 - (math.log10(time) - self.y[0]) / (self.y[1] - self.y[0]))
        return x, y

    def draw(self):
        for power in range(self.x[0], self.x[1] + 1):
            x, y = self.place(10 ** power, 10 ** self.y[0])
            yield f'<path d="M{x:.1f} {TOP}V{y:.1f}" stroke="#ddd"/>'
            yield text(x, y + 20, f"{10 ** power:,}", "middle")
        for power in range(self.y[0], self.y[1] + 1):
            x, y = self.place(10 ** self.x[0], 10 ** power)
            yield f'<path d="M{x:.1f} {y:.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>'
            yield text(x - 8, y + 4, unit(10 ** power), "end")
        yield text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 14, "users", "middle")


def labels(ends):
    """The names behind the curves' ends, moved apart where they would overlap."""
    lowest = -math.inf
    for y, name, colour in sorted(ends):
        lowest = max(y, lowest + 17)
        yield text(WIDTH - RIGHT + 10, lowest + 4, name, colour=colour)


def draw(title, curves):
    axes = Axes(curves)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif">', f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>',
             text(LEFT, 28, title, size=17), *axes.draw()]
    ends = []
    for (name, points), colour in zip(curves.items(), COLOURS):
        places = [axes.place(*point) for point in points]
        path = "L".join(f"{x:.1f} {y:.1f}" for x, y in places)
        parts.append(f'<path d="M{path}" fill="none" stroke="{colour}" stroke-width="2.5"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="4" fill="{colour}"/>' for x, y in places]
        ends.append((places[-1][1], name, colour))
    return "\n".join([*parts, *labels(ends), "</svg>"]) + "\n"


def draw_all(results, folder):
    for file, (title, names) in PLOTS.items():
        curves = {}
        for label, name in names.items():
            points = [(users, results.time(name.format(users))) for users in SIZES]
            curves[label] = [point for point in points if point[1]]
        sizes = {users for label, curve in curves.items() if "{}" in names[label]
                 for users, _ in curve}
        curves = {label: [point for point in curve if point[0] in sizes]
                  for label, curve in curves.items() if curve}
        if curves and sizes:
            (folder / file).write_text(draw(title, curves))
