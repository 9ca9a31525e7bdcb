"""The string literals of C++ sources, with comments and character literals
read past so that neither pairs quotes wrongly."""
import glob
import os


def literals(text):
    """Yields (line, body) for each ordinary string literal, body as written
    between the quotes, escapes untouched."""
    i, n, line = 0, len(text), 1
    while i < n:
        c = text[i]
        if c == "\n":
            line += 1
            i += 1
        elif text.startswith("//", i):
            i = text.find("\n", i)
            i = n if i < 0 else i
        elif text.startswith("/*", i):
            end = text.find("*/", i + 2)
            end = n if end < 0 else end + 2
            line += text.count("\n", i, end)
            i = end
        elif c in "\"'":
            j = i + 1
            while j < n and text[j] != c and text[j] != "\n":
                j += 2 if text[j] == "\\" else 1
            if c == '"' and not (i > 0 and (text[i - 1].isalnum() or text[i - 1] == "_")):
                yield line, text[i + 1:j]
            i = j + 1
        else:
            i += 1


def source_files(root):
    paths = glob.glob(os.path.join(root, "src/**/*.cc"), recursive=True) + \
        glob.glob(os.path.join(root, "src/**/*.h"), recursive=True)
    return sorted(p for p in paths if not os.path.basename(p).startswith("gbk_table"))
