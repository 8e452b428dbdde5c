#!/usr/bin/env python3
"""Doxygen's input filter for Kiv's headers: turns their plain // comments into documentation.

    doxygen_filter.py HEADER      (prints the filtered header)

The headers document with ordinary comments, as Kiv's style asks:
- a file's opening comment says what the file holds, and documents the classes that its first
  words name ("Value: ...", "Array and MutableArray: ...") unless they have comments of their own;
- a comment directly above a declaration documents it, and the overloads that directly follow it
  (functions of the same name, not a destructor, nor a defaulted or deleted declaration such as a
  deleted copy constructor). The filter cannot tell what an overload means: one that means
  something other than what the comment says needs a comment of its own;
- a comment followed by a blank line and then a run of declarations without comments of their
  own (up to the next blank line) documents each of them: a section's introduction, such as the
  one above a list of accessors ("--- Title ---" becomes its title);
- a comment after a member on its line documents that member.
This filter makes Doxygen comments of those: "///" (with "@file" for the opening comment), "///<",
and for the further members of an overload set or a section a one-line "/** ... */" with the
comment's first sentence, in front of the declaration. It leaves every other comment alone:
comments inside function bodies, section titles followed by commented declarations, and comments
above includes, namespaces and preprocessor lines other than #define. Lines are never added or
removed, so Doxygen's line numbers stay right.
"""
import re
import sys
from pathlib import Path

ACCESS = re.compile(r"\s*(public|protected|private)\s*:(?!:)\s*")
SCOPE_HEAD = re.compile(r'^\s*(template\s*<.*>\s*)?(class|struct|union|enum|namespace|extern\s+"C")\b')
COMMENT_LINE = re.compile(r"^(\s*)//(?!/)(.*)$")
SECTION_TITLE = re.compile(r"^(\s*)//\s*-+\s*(.*?)\s*-*\s*$")
ROOT = Path(__file__).resolve().parent.parent


def code_of(line, state):
    """The line without comments, strings and character literals; `state` carries a block comment
    or raw string that continues on the next line."""
    out, i = [], 0
    while i < len(line):
        if state["block"]:
            end = line.find("*/", i)
            if end < 0:
                return "".join(out)
            state["block"], i = False, end + 2
        elif state["raw"]:
            end = line.find(state["raw"], i)
            if end < 0:
                return "".join(out)
            i, state["raw"] = end + len(state["raw"]), None
        elif line.startswith("//", i):
            break
        elif line.startswith("/*", i):
            state["block"], i = True, i + 2
        elif line.startswith('R"', i) and (i == 0 or not (line[i - 1].isalnum() or line[i - 1] == "_")):
            open_paren = line.find("(", i)
            state["raw"], i = ")" + line[i + 2:open_paren] + '"', open_paren + 1
        elif line[i] in "\"'":
            quote, i = line[i], i + 1
            while i < len(line) and line[i] != quote:
                i += 2 if line[i] == "\\" else 1
            i += 1
            out.append(" ")
        else:
            out.append(line[i])
            i += 1
    return "".join(out)


class Line:
    """What the filter needs to know of a line: its code, and where it stands."""

    def __init__(self, text):
        self.text = text
        self.code = ""
        self.in_body = False  # inside a function body or an initializer when the line begins
        self.depth = 0  # open braces when the line begins
        self.starts_statement = False  # whether a declaration begins on the line
        self.preprocessor = False  # a preprocessor line or its continuation

    @property
    def is_comment(self):
        return bool(COMMENT_LINE.match(self.text))

    @property
    def is_blank(self):
        return not self.text.strip()


def analysed(texts):
    lines = [Line(t) for t in texts]
    state = {"block": False, "raw": None}
    frames = []  # "scope" (namespace, class, enum) or "body" (function, initializer) per open brace
    head = ""  # the code since the last ; { or }
    in_macro = False
    for line in lines:
        line.in_body, line.depth = "body" in frames, len(frames)
        if in_macro or line.text.lstrip().startswith("#"):
            line.preprocessor = True
            in_macro = line.text.rstrip().endswith("\\")
            continue
        line.code = code_of(line.text, state)
        stripped = line.code.strip()
        line.starts_statement = (not line.in_body and not ACCESS.sub("", head).strip() and bool(stripped)
                                 and not stripped.startswith("}") and not ACCESS.fullmatch(stripped))
        for c in line.code:
            if c == "{":
                declaration = ACCESS.sub("", head)
                frames.append("scope" if SCOPE_HEAD.match(declaration) and "(" not in declaration else "body")
                head = ""
            elif c == "}":
                if frames:
                    frames.pop()
                head = ""
            elif c == ";":
                head = ""
            else:
                head += c
        head += " "
    return lines


def is_declaration(line):
    """Whether the line starts something that a comment above it documents."""
    stripped = line.text.strip()
    if not stripped or line.in_body or line.is_comment or stripped.startswith("}") or ACCESS.fullmatch(stripped):
        return False
    if line.preprocessor:
        return stripped.startswith("#define")
    return not re.match(r"(namespace\b|using namespace\b|extern\s+\"C\")", stripped)


def declared_name(lines, start):
    """The name that the declaration beginning at `start` declares: the function's (before its
    parameters), else the variable's or type's."""
    code = ""
    for line in lines[start:]:
        code += " " + line.code
        if re.search(r"[(;{=]", re.sub(r"^\s*template\s*<.*?>", "", code)):
            break
    code = re.sub(r"^\s*template\s*<.*?>", "", code)
    code = re.sub(r"\[\[.*?\]\]", "", code)  # attributes such as [[nodiscard]]
    pointer = re.match(r"[^(]*\(\s*\*\s*(\w+)\s*\)", code)  # a function pointer: Result (*name)(...)
    if pointer:
        return pointer.group(1)
    head = re.split(r"[(;{=\[]", code, maxsplit=1)[0]
    operator = re.search(r"operator\s*\S+\s*$", head)
    if operator:
        return operator.group(0).replace(" ", "")
    while re.search(r"<[^<>]*>", head):  # a specialisation's arguments: classOf<Object> is classOf
        head = re.sub(r"<[^<>]*>", "", head)
    names = re.findall(r"~?[A-Za-z_]\w*", head)  # a destructor's name keeps its "~"
    return names[-1] if names else ""


def is_defaulted_or_deleted(lines, start):
    """Whether the declaration beginning at `start` is "= default" or "= delete"."""
    code = ""
    for line in lines[start:]:
        code += " " + line.code
        if re.search(r"[;{]", code):
            break
    return bool(re.search(r"=\s*(default|delete)\s*;", code))


def declaration_run(lines, start, whole):
    """The lines that begin the declarations that a comment above `start` documents. They run to
    the next blank line, comment, access specifier or closing brace at their depth; unless `whole`,
    only as long as they declare the name that the first one declares (an overload set) and are
    not defaulted or deleted (a copy constructor deleted below a documented constructor is not
    one of its overloads). Nothing but the first when a class or other scope is among them (its
    members have comments of their own)."""
    depth, end, starts, nested = lines[start].depth, start, [], False
    name = declared_name(lines, start)
    while end < len(lines):
        line = lines[end]
        at_depth = line.depth == depth and not line.in_body
        stripped = line.text.strip()
        if end > start and (line.preprocessor or (at_depth and (line.is_blank or line.is_comment or stripped.startswith("}")
                                                               or ACCESS.fullmatch(stripped)))):
            break
        begins = line.depth == depth and (line.starts_statement or line.preprocessor)
        if end > start and begins and not whole and (declared_name(lines, end) != name
                                                     or is_defaulted_or_deleted(lines, end)):
            break
        nested |= line.depth > depth and not line.in_body
        if begins:
            starts.append(end)
        end += 1
    return starts[:1] if nested else starts


def first_sentence(comment_lines):
    """The first sentence of a comment, for a one-line Doxygen comment."""
    text = " ".join(re.sub(r"^\s*/+<?\s?", "", line).strip() for line in comment_lines)
    sentence = re.split(r"(?<=\.)\s", text.strip(), maxsplit=1)[0]
    return sentence.replace("*/", "* /")


def documented_by_file(texts, lines):
    """The lines that define the classes that the file's opening comment names, when no comment
    of their own stands above them (not inside a macro's body)."""
    names = re.match(r"^//\s*([A-Za-z_][\w ,]*?):", texts[0]) if texts else None
    if not names:
        return []
    found = []
    for name in re.split(r",\s*|\s+and\s+", names.group(1)):
        for i, text in enumerate(texts):
            if re.match(rf"^\s*(class|struct)\s+{re.escape(name)}\b(?!\s*;)", text) and not lines[i].preprocessor and (
                    i == 0 or not COMMENT_LINE.match(texts[i - 1])):
                found.append(i)
    return found


def escaped(text):
    """Comment text with placeholders such as <condition> kept as text, not read as HTML tags.
    Code spans and quoted texts are left alone: Doxygen shows them as they stand."""
    def outside_quotes(part):
        pieces = part.split('"')
        pieces[::2] = [re.sub(r"<(/?\w+)>", r"\\<\1\\>", piece) for piece in pieces[::2]]
        return '"'.join(pieces)
    parts = text.split("`")
    parts[::2] = [outside_quotes(part) for part in parts[::2]]
    return "`".join(parts)


def as_doc(text, marker="///"):
    return escaped(re.sub(r"//", marker, text, count=1))


def filtered(texts, path):
    lines = analysed(texts)
    out = list(texts)
    for i in documented_by_file(texts, lines):
        out[i] = f"/** @copydoc {path} */ {texts[i]}"
    # The file's opening comment documents the file.
    header = 0
    while header < len(lines) and lines[header].is_comment:
        header += 1
    if header:
        out[0] = as_doc(texts[0]) + " @file"
        for i in range(1, header):
            out[i] = as_doc(texts[i])

    i = header
    trailing_column = None  # the column of the last line's comment on a member
    while i < len(lines):
        line = lines[i]
        if not (line.is_comment and not line.in_body and not line.preprocessor):
            comment_at = line.text.find("//", len(line.code.rstrip()))
            trailing_column = None
            if (not line.in_body and not line.preprocessor and comment_at > 0 and line.code.strip()
                    and line.code.rstrip()[-1] in ";,"):
                out[i] = line.text[:comment_at] + escaped("///<" + line.text[comment_at + 2:])
                trailing_column = comment_at
            i += 1
            continue
        run_end = i
        while run_end < len(lines) and lines[run_end].is_comment:
            run_end += 1
        if trailing_column is not None and len(COMMENT_LINE.match(line.text).group(1)) == trailing_column:
            # The comment on the member above goes on.
            for j in range(i, run_end):
                out[j] = as_doc(texts[j], "///<")
        else:
            target = run_end
            # A section's introduction: a comment, one blank line, declarations without comments.
            introduces = (target + 1 < len(lines) and lines[target].is_blank
                          and is_declaration(lines[target + 1]) and (run_end - i > 1 or not SECTION_TITLE.match(line.text)))
            if introduces:
                target += 1
            if target < len(lines) and is_declaration(lines[target]):
                for j in range(i, run_end):
                    title = SECTION_TITLE.match(texts[j])
                    out[j] = f"{title.group(1)}/// {escaped(title.group(2))}." if title and title.group(2) else as_doc(texts[j])
                brief = first_sentence(out[i:run_end])
                for j in declaration_run(lines, target, whole=introduces)[1:]:
                    indent = re.match(r"\s*", texts[j]).group(0)
                    out[j] = f"{indent}/** {brief} */ {texts[j].lstrip()}"
        trailing_column = None
        i = run_end
    return out


def main():
    path = Path(sys.argv[1]).resolve()
    texts = path.read_text(encoding="utf-8").split("\n")
    sys.stdout.write("\n".join(filtered(texts, path.relative_to(ROOT).as_posix())))


if __name__ == "__main__":
    main()
