"""Files that no program can make sense of."""

from media import Recipe

RECIPES = [
    Recipe("empty.mkv", "truncate -s 0 {out}"),
    Recipe("zeros.bin", "truncate -s 4096 {out}"),
]
