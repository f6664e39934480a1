#!/usr/bin/env python3
"""manual_pages.py BIN SOURCE OUT: writes the manual pages into the folder OUT.

The programs' own --help and docs/configuration.md say what stands in them; the pages in
packaging/man are made with this, so that packages for other processors have them too.
"""
import pathlib
import re
import subprocess
import sys

PROGRAMS = {
    "orva-vpnd": (8, "VPN service of an operator panel", """
Keeps the VPN's settings and its state, and controls the tunnel, for programs of the same panel: the
device driver libdevicevpn and orva-vpnctl. Its systemd unit is orva-vpnd.service, with
orva-vpnd.socket for the port.
""", [("/etc/orva/vpnd.toml", "The configuration, see vpnd.toml(5)."),
      ("/etc/default/orva-vpnd", "Options for the unit: ORVA_VPND_OPTIONS=--log-level debug"),
      ("/var/lib/orva-vpnd", "Settings and history."),
      ("/usr/share/doc/orva-vpnd/administration.md", "How to install, look after and remove it.")],
                  "orva-vpnctl(1), vpnd.toml(5), systemctl(1)"),
    "orva-vpnctl": (1, "ask and steer the VPN service of an operator panel", """
The command line of orva-vpnd(8).
""", [], "orva-vpnd(8), vpnd.toml(5)"),
    "orva-panel": (1, "host for device drivers of an operator panel", """
Loads a device driver as the panel's runtime does, polls its channels, sends it commands and writes,
runs project files, and checks a library before a panel has to load it.
""", [("/usr/lib/orva/drivers/libdevicevpn.so", "The driver, when it is installed."),
      ("/usr/share/orva-panel/examples", "Projects to try.")],
                   "orva-vpnd(8); the pages in /usr/share/doc/orva-panel"),
}


def escaped(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    # A list without blanks may be broken behind its commas.
    text = re.sub(r"\S{60,}", lambda word: word[0].replace(",", ",\\:"), text)
    return "\\&" + text if text[:1] in (".", "'") else text


def help_of(program, *words):
    said = subprocess.run([program, *words, "--help"], capture_output=True, text=True, check=True,
                          env={"LC_ALL": "C.UTF-8"}, timeout=60).stdout
    # Some programs show the path that they were called by.
    return re.sub(r"(?m)^Usage: \S*/", "Usage: ", said)


def parts(text):
    """The description and usage, {section: [(name, explanation)]} and the lines of the end."""
    head, lists, foot = [], {}, []
    current = None
    for line in text.splitlines():
        section = re.fullmatch(r"(Options|Positionals|Subcommands):", line)
        if section:
            current = lists.setdefault(section[1], [])
        elif current is None:
            head.append(line)
        elif foot or (line and not line.startswith("  ")):
            foot.append(line)
        elif re.match(r"  \S", line):
            split = re.fullmatch(r"  (.{1,27}\S?)(?: {2,}(.*))?", line)
            fits = split and (split[2] or len(line) < 30)
            name, _, rest = (split[1].rstrip(), "", split[2] or "") if fits else (line.strip(), "", "")
            if not fits:
                pair = re.fullmatch(r"  (.*?\S) {2,}(\S.*)", line)
                name, rest = (pair[1], pair[2]) if pair else (line.strip(), "")
            current.append([name, rest])
        elif line.strip():
            current[-1][1] = (current[-1][1] + " " + line.strip()).strip()
    return head, lists, foot


def name_of_entry(name):
    """An option with what it takes: its spelling bold; what excludes what stays plain."""
    word, _, rest = name.partition(" ")
    return "\\fB" + escaped(word) + "\\fR" + (" " + escaped(rest) if rest else "")


def entries(rows):
    out = []
    for name, explanation in rows:
        out += [".TP", name_of_entry(name), escaped(explanation)]
    return out


def program_page(bin_dir, name):
    section, what, intro, files, also = PROGRAMS[name]
    program = str(bin_dir / name)
    version = subprocess.run([program, "--version"], capture_output=True, text=True, check=True,
                             timeout=60).stdout.split()[-1]
    head, lists, foot = parts(help_of(program))
    usage = next(line for line in head if line.startswith("Usage: "))[7:]
    out = [f'.TH {name.upper()} {section} "" "Orva {version}" "Orva VPN"', ".ad l", ".SH NAME",
           f"{escaped(name)} \\- {escaped(what)}", ".SH SYNOPSIS", f".B {escaped(usage)}",
           ".SH DESCRIPTION", escaped(intro.strip()), ".SH OPTIONS", *entries(lists["Options"])]
    if foot:
        out += [".SH NOTES", ".nf", *[escaped(line) for line in foot], ".fi"]
    if "Subcommands" in lists:
        out.append(".SH COMMANDS")
        for word, explanation in lists["Subcommands"]:
            # The lines that all of them share stand above.
            below_head, below, below_foot = parts(help_of(program, word))
            usage = next(line for line in below_head if line.startswith("Usage: "))[7:]
            out += [f'.SS "{escaped(usage)}"', escaped(explanation) + "."]
            out += entries(below.get("Positionals", []))
            out += entries([row for row in below.get("Options", []) if "--help" not in row[0]])
            out += entries(below.get("Subcommands", []))
            if below_foot and below_foot != foot:
                out += [".PP", ".nf", *[escaped(line) for line in below_foot], ".fi"]
    if files:
        out.append(".SH FILES")
        for path, explanation in files:
            out += [".TP", ".I " + escaped(path), escaped(explanation)]
    out += [".SH SEE ALSO", escaped(also)]
    return "\n".join(out) + "\n"


def inline(text):
    text = re.sub(r"\[([^\]]*)\]\(([^)]*)\)", r"\1", text)
    pieces = re.split(r"(`[^`]*`)", text)
    return "".join("\\fB" + escaped(piece[1:-1]).removeprefix("\\&") + "\\fR" if piece.startswith("`")
                   else re.sub(r"\*([^*]+)\*", r"\\fI\1\\fR", escaped(piece)) for piece in pieces)


def configuration_page(source, version):
    out = [f'.TH VPND.TOML 5 "" "Orva {version}" "Orva VPN"', ".ad l", ".SH NAME",
           "vpnd.toml \\- configuration of the VPN service orva\\-vpnd", ".SH DESCRIPTION"]
    columns, is_code, was_text = None, False, False
    for line in (source / "docs/configuration.md").read_text().splitlines()[1:]:
        if line.startswith("```"):
            is_code = not is_code
            out.append(".PP\n.nf" if is_code else ".fi")
        elif is_code or line.startswith("    "):
            out.append(escaped(line) if is_code else ".PP\n.nf\n" + escaped(line) + "\n.fi")
        elif line.startswith("|"):
            cells = [cell.strip() for cell in line.strip("|").split("|")]
            if columns is None:
                columns = cells
            elif not set(cells[0]) <= {"-"}:
                told = [cells[1]] + [f"{column}: {cell}" for column, cell in zip(columns[2:], cells[2:])
                                     if column and cell]
                if not columns[2:] or not columns[1]:
                    told = [cell for cell in cells[1:] if cell]
                out += [".TP", inline(cells[0]), "\n.br\n".join(inline(text) for text in told if text)]
            continue
        elif line.startswith("#"):
            out.append(f'.SH "{escaped(line.lstrip("# "))}"')
        elif line.startswith("- "):
            out += [".IP \\(bu 2", inline(line[2:])]
        elif line:
            # A line that goes on with a list's item belongs to it.
            out += [inline(line)] if was_text else [".PP", inline(line)]
        was_text = bool(line) and not line.startswith(("#", "|", "```", "    "))
        columns = None
    out += [".SH SEE ALSO", "orva\\-vpnd(8), orva\\-vpnctl(1)"]
    return "\n".join(out) + "\n"


def main():
    bin_dir, source, out = (pathlib.Path(word) for word in sys.argv[1:])
    out.mkdir(parents=True, exist_ok=True)
    for name, (section, *_) in PROGRAMS.items():
        (out / f"{name}.{section}").write_text(program_page(bin_dir.resolve(), name))
    version = subprocess.run([str(bin_dir / "orva-vpnd"), "--version"], capture_output=True, text=True,
                             check=True, timeout=60).stdout.split()[-1]
    (out / "vpnd.toml.5").write_text(configuration_page(source, version))


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    main()
