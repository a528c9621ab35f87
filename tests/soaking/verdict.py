"""What the rows of a soak say: a list of complaints, empty when all is well."""

# Of the memory that no file holds, in kilobytes: what an allocator may keep more at one time than at
# another.
GROWTH_KILOBYTES = 1024
# Clocks of a machine may be set right while it runs.
DRIFT = 0.001
# A life with fewer checks has no thirds to compare.
CHECKS_TO_COMPARE = 6


def growth(values):
    """From the first third to the last: what even the least of these is above the least of those.
    What is only on its way, a client's close say, comes and goes."""
    third = len(values) // 3
    return min(values[-third:]) - min(values[:third])


def complaints(checks, ends):
    """`checks` are rows taken while nothing was going on, `ends` say how each console ended."""
    found = []
    for check in checks:
        where = f"at {check['seconds']} s"
        if check["lost"] != 0:
            found.append(f"{where}: lines lost: {check['lost']}")
        if abs(check["ticks"] - check["alive"]) > 1 + DRIFT * check["alive"]:
            found.append(f"{where}: {check['ticks']} ticks in {check['alive']} s")
    for end in ends:
        if end["status"] != end["expected"]:
            found.append(f"{end['how']}: ended with {end['status']}, not {end['expected']}")
        if end["left"]:
            found.append(f"{end['how']}: left {end['left']}")

    compared = 0
    for life in sorted({check["life"] for check in checks}):
        rows = [check for check in checks if check["life"] == life]
        if len(rows) < CHECKS_TO_COMPARE:
            continue
        compared += 1
        grown = growth([row["own_kB"] for row in rows])
        if grown > GROWTH_KILOBYTES:
            found.append(f"life {life}: its memory grew by {grown} kB")
        grown = growth([row["descriptors"] for row in rows])
        if grown > 0:
            found.append(f"life {life}: it holds more descriptors: {grown}")
    if compared == 0:
        found.append("too short: no console lived long enough to see whether it grows")
    return found
