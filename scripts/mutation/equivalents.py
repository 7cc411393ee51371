"""Changes without effect: tests/mutants/equivalent.txt."""
from mutation.bench import CannotRun

FIELDS = ("file", "was", "now", "why")


def read_entries(text):
    """Entries of four lines "field: value", with an empty line between them; lines that begin with # are comments."""
    entries, current = [], {}
    for number, line in enumerate(text.split("\n") + [""], 1):
        if line.startswith("#"):
            continue
        if not line.strip():
            if current:
                if tuple(current) != FIELDS:
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
    """The (file, was, now) of all entries. One that no change fits tells of sources that are gone, and is a fault."""
    possible = {(change.file, change.before, change.after) for change in changes}
    named = {(entry["file"], entry["was"], entry["now"]) for entry in entries}
    stale = sorted(named - possible)
    if stale:
        raise CannotRun("tests/mutants/equivalent.txt: no such change can be made any more:\n" +
                        "\n".join(f"  file: {file}\n  was: {was}\n  now: {now}" for file, was, now in stale))
    return named
