"""Changes without effect: tests/mutants/equivalent.txt."""
import re

from mutation.bench import CannotRun

FIELDS = ["file", "was", "now", "why"]


def read_entries(text):
    """Entries of four lines "field: value", five with "which", and an empty line between them. # begins a comment."""
    entries = []
    for block in re.split(r"\n{2,}", re.sub(r"^#.*\n", "", text, flags=re.MULTILINE).strip()):
        entry = dict(re.findall(r"^(\w+): *(.*\S)$", block, re.MULTILINE))
        if [field for field in entry if field != "which"] != FIELDS or len(entry) != block.count("\n") + 1:
            raise CannotRun(f"equivalent.txt: not {', '.join(FIELDS)}:\n{block}")
        entries.append(entry)
    return entries


def matching(entries, changes):
    """The changes in the list. Each entry must fit a change; one that fits several says which, by number or "all"."""
    found = set()
    for entry in entries:
        fitting = [change for change in changes
                   if (change.file, change.before, change.after) == (entry["file"], entry["was"], entry["now"])]
        which = entry.get("which", "all" if len(fitting) == 1 else "")
        chosen = [change for change in fitting if which in ("all", change.key)]
        if not chosen:
            raise CannotRun(f"tests/mutants/equivalent.txt: {len(fitting)} changes are as told here, which: {which}\n" +
                            "".join(f"  {field}: {value}\n" for field, value in entry.items()))
        found.update(chosen)
    return found
