"""Prints access/services/smb_letters.inc: the upper-case letters that Samba folds, asked of its library."""
import ctypes

LAST = 0x10ffff


def offsets():
    """What leads each upper-case letter to the lower case that Samba compares."""
    lower = ctypes.CDLL("libsamba-util.so.0").tolower_m
    lower.argtypes, lower.restype = [ctypes.c_uint32], ctypes.c_uint32
    return {letter: lower(letter) - letter for letter in range(LAST + 1)
            if lower(letter) != letter}


def rows():
    """The letters as [first, last, step, offset]."""
    found = []
    for letter, offset in offsets().items():
        if found:
            first, last, step, row_offset = found[-1]
            gap = letter - last
            if offset == row_offset and (gap == step or first == last and gap <= 2):
                found[-1] = [first, letter, gap, offset]
                continue
        found.append([letter, letter, 1, offset])
    return found


def text():
    cells = [f"{{{first:#x}, {last:#x}, {step}, {offset}}}," for first, last, step, offset in rows()]
    lines = [" ".join(cells[at:at + 3]) for at in range(0, len(cells), 3)]
    return "// Written by tests/consumers/samba_letters.py.\n" + "\n".join(lines) + "\n"


if __name__ == "__main__":
    print(text(), end="")
