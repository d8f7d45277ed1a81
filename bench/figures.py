"""Names and ratios that the tables and the plots of a run share."""

FLOOR, LIBRARY, AGAIN = "floor", "library", "floor again"


def key_of(rounds):
    return "ns" if any("ns" in figure for figure in rounds if figure) else "p50"


def ratios(contender, floor, key):
    """Round by round, where both were measured."""
    return [one[key] / other[key] for one, other in zip(contender, floor) if one and other]
