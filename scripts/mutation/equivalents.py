"""Changes without effect: tests/mutants/equivalent.txt."""
from mutation.bench import CannotRun

FIELDS = ("file", "was", "now", "why")


def read_entries(text):
    """Entries of four lines "field: value", five with "which", and an empty line between them. # begins a comment."""
    entries, current = [], {}
    for number, line in enumerate(text.split("\n") + [""], 1):
        if line.startswith("#"):
            continue
        if not line.strip():
            if current:
                if tuple(field for field in current if field != "which") != FIELDS:
                    raise CannotRun(f"equivalent.txt:{number}: the entry above has {', '.join(current)}, "
                                    f"not {', '.join(FIELDS)}")
                entries.append(current)
                current = {}
            continue
        field, _, value = line.partition(":")
        if field in current or not value.strip():
            raise CannotRun(f"equivalent.txt:{number}: {line}")
        current[field] = value.strip()
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
