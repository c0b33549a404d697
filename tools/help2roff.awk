# Lays out the ecckey tool's help texts as its manual page. The first input is 'ecckey --help',
# the others 'ecckey COMMAND --help' in the order it lists them; -v version= names the release.
# A help text is blocks between blank lines: a usage, paragraphs, and lists of "  name  text"
# lines. A block that several commands print (the forms, the passphrase sources) is said once,
# in a section of its own, and the commands point to it; a titled list of the top-level help
# (the exit status) becomes a section too.

# Text for roff: options in bold, hyphens that stay hyphens, no line read as a request.
function roff(s) {
    gsub(/\\/, "\\\\e", s)
    gsub(/--[a-z][a-z0-9-]*/, "\\\\fB&\\\\fR", s)
    gsub(/-/, "\\\\-", s)
    if (s ~ /^[.']/) s = "\\&" s
    return s
}

# A usage line as a synopsis: literals bold, placeholders italic, no break inside [...]. The
# caller ends the synopsis (.YS).
function synopsis(s,    name, out, t, i, c, depth) {
    sub(/^usage: /, "", s)
    match(s, /^ecckey( [a-z]+)?/)
    name = substr(s, 1, RLENGTH)
    s = substr(s, RLENGTH + 2)
    out = ""
    for (i = 1; i <= length(s); i++) {
        c = substr(s, i, 1)
        if (c == "[") depth++
        if (c == "]") depth--
        out = out (c == " " && depth > 0 ? "\001" : c)
    }
    s = out
    out = ""
    while (match(s, /--[a-z][a-z0-9-]*|[A-Z][A-Z]+|[a-z][a-z0-9]*/)) {
        t = substr(s, RSTART, RLENGTH)
        out = out substr(s, 1, RSTART - 1) (t ~ /^[A-Z]/ ? "\\fI" t "\\fR" : "\\fB" t "\\fR")
        s = substr(s, RSTART + RLENGTH)
    }
    out = out s
    gsub(/-/, "\\\\-", out)
    gsub(/\001/, "\\\\ ", out)
    return ".SY \"" name "\"" (out == "" ? "" : "\n" out)
}

# A heading alone on its line ("Exit status:", "Output forms (--to):") names a section.
function heading(line) { return line ~ /^[A-Z][a-z ]*( \([^)]*\))?:$/ }

function title(block,    t) {
    t = block
    sub(/\n.*/, "", t)
    sub(/[(,:].*/, "", t)
    sub(/ +$/, "", t)
    return toupper(t)
}

# Paragraphs filled, list items as tagged paragraphs. A section's own heading line is dropped.
function body(block, asSection,    n, lines, i, line, inList, tag) {
    n = split(block, lines, "\n")
    inList = 1
    for (i = 1; i <= n; i++) {
        line = lines[i]
        if (i == 1 && asSection && heading(line)) continue
        if (match(line, /^  [^ ]+  +/)) {
            tag = substr(line, 3, RLENGTH - 2)
            sub(/ +$/, "", tag)
            print ".TP\n\\fB" roff(tag) "\\fR"
            print roff(substr(line, RLENGTH + 1))
            inList = 1
            continue
        }
        if (inList) print ".PP"
        inList = 0
        print roff(line)
    }
}

FNR == 1 { nfiles++; fresh = 1 }
/^$/ { fresh = 1; next }
{
    if (fresh) {
        nblocks[nfiles]++
        text[nfiles, nblocks[nfiles]] = $0
    } else if (nblocks[nfiles] == 1 && $0 ~ /^ /) {  # a usage that goes on
        sub(/^ +/, " ")
        text[nfiles, 1] = text[nfiles, 1] $0
    } else {
        text[nfiles, nblocks[nfiles]] = text[nfiles, nblocks[nfiles]] "\n" $0
    }
    fresh = 0
}

END {
    for (f = 2; f <= nfiles; f++) {
        for (b = 2; b <= nblocks[f]; b++) {
            if (++seen[text[f, b]] == 2) shared[++nshared] = text[f, b]
        }
    }
    tagline = text[1, 2]
    sub(/\.$/, "", tagline)
    print ".\\\" Made from the tool's --help texts by tools/gen-docs.sh: change those, not this."
    print ".TH ECCKEY 1 \"\" \"" version "\" \"User Commands\""
    print ".SH NAME\necckey \\- " roff(tolower(substr(tagline, 1, 1)) substr(tagline, 2))
    print ".SH SYNOPSIS"
    for (f = 1; f <= nfiles; f++) print synopsis(text[f, 1])
    print ".YS\n.SH DESCRIPTION"
    for (b = 3; b <= nblocks[1]; b++) {
        if (text[1, b] ~ /^[A-Z][a-z ]*:\n/) continue
        body(text[1, b], 0)
    }
    print ".SH COMMANDS"
    for (f = 2; f <= nfiles; f++) {
        split(text[f, 1], words, " ")
        print ".SS " words[3] "\n" synopsis(text[f, 1]) "\n.YS"
        nrefs = 0
        for (b = 2; b <= nblocks[f]; b++) {
            if (seen[text[f, b]] < 2) body(text[f, b], 0)
            else refs[++nrefs] = "\\fB" title(text[f, b]) "\\fR"
        }
        if (nrefs == 0) continue
        t = refs[1]
        for (i = 2; i <= nrefs; i++) t = t (i == nrefs ? " and " : ", ") refs[i]
        print ".PP\nSee " t " below."
    }
    # The shared sections in alphabetical order.
    for (i = 2; i <= nshared; i++) {
        for (j = i; j > 1 && title(shared[j - 1]) > title(shared[j]); j--) {
            t = shared[j]; shared[j] = shared[j - 1]; shared[j - 1] = t
        }
    }
    for (i = 1; i <= nshared; i++) {
        print ".SH " title(shared[i])
        body(shared[i], 1)
    }
    for (b = 3; b <= nblocks[1]; b++) {
        if (text[1, b] !~ /^[A-Z][a-z ]*:\n/ || text[1, b] ~ /^Commands:/) continue
        print ".SH " title(text[1, b])
        body(text[1, b], 1)
    }
}
