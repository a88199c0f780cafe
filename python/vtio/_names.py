"""Patterns of signal names, and names that a mistyped one may have meant."""

from __future__ import annotations

import difflib
import fnmatch
import re
from typing import Callable, Iterable

_SEPARATORS = re.compile(r"[./|]")
_MOST_COMPARED = 2000  # names by similarity, which is slow


def matcher(pattern: str) -> Callable[[str], object]:
    """Says whether a whole name matches: `*` is any text, `?` one character, everything else is itself."""
    return re.compile(fnmatch.translate(pattern.replace("[", "[[]"))).match


def near_names(name: str, known: Iterable[str], most: int = 3) -> list[str]:
    """Names that resemble a name or pattern, nearest first; upper and lower case count as the same."""
    if "*" in name or "?" in name:
        return _near_pattern(name.casefold(), known, most)
    wanted = name.casefold()
    last = _SEPARATORS.split(wanted)[-1]
    by_folded: dict[str, str] = {}
    for candidate in known:
        by_folded.setdefault(candidate.casefold(), candidate)
    parts = [folded for folded in by_folded if wanted and _ends_with_part(folded, wanted)]
    similar_length = (folded for folded in by_folded if abs(len(folded) - len(wanted)) <= max(2, len(wanted) // 2))
    candidates = sorted(similar_length, key=lambda folded: (_SEPARATORS.split(folded)[-1] != last, _distant(folded,
        wanted)))
    near = difflib.get_close_matches(wanted, candidates[:_MOST_COMPARED], most, 0.7)
    return [by_folded[folded] for folded in dict.fromkeys(near + parts)][:most]


def _near_pattern(pattern: str, known: Iterable[str], most: int) -> list[str]:
    """Names whose last levels match, then those that begin much as the pattern does up to its first wildcard."""
    names = list(known)
    match = matcher(pattern)
    ends = [name for name in names if any(match(name.casefold()[at.end():]) for at in _SEPARATORS.finditer(name))]
    head = re.split(r"[*?]", pattern)[0]

    def likeness(name: str) -> float:
        return difflib.SequenceMatcher(None, head, name.casefold()[:len(head)]).ratio()

    begins = sorted((name for name in names[:_MOST_COMPARED] if head and likeness(name) > 0.7), key=likeness,
                    reverse=True)
    return list(dict.fromkeys(ends + begins))[:most]


def did_you_mean(name: str, known: Iterable[str]) -> str:
    """"; did you mean 'a', 'b' or 'c'?", or nothing."""
    names = [f"'{near}'" for near in near_names(name, known)]
    if not names:
        return ""
    head = ", ".join(names[:-1])
    return f"; did you mean {head + ' or ' if head else ''}{names[-1]}?"


def _ends_with_part(name: str, part: str) -> bool:
    return name.endswith(part) and len(name) > len(part) and name[-len(part) - 1] in "./|"


def _distant(a: str, b: str) -> int:
    """A cheap measure: characters that only one of the two has."""
    return len(set(a) ^ set(b))
