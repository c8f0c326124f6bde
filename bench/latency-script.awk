# SPDX-License-Identifier: Apache-2.0
# Makes a client's script of a statement log: the values take the places of the "?", questions to the
# catalogue are left out. Each statement is a batch, and inside a transaction `most` statements are.
/^-- catalogue/ { next }
{
    text = $0
    if (match(text, / -- \[.*\]$/)) {
        count = split(substr(text, RSTART + 5, RLENGTH - 6), value, /\] \[/)
        text = substr(text, 1, RSTART - 1)
        for (i = 1; i <= count; ++i)
            sub(/\?/, value[i] ~ /^-?[0-9]+$/ ? value[i] : "'" value[i] "'", text)
    }
    if (text == "BEGIN") inside = 1
    if (text == "COMMIT") inside = 0
    print text (text == "BEGIN" || text == "COMMIT" ? " TRANSACTION" : "")
    if (++held >= most || !inside) { print "go"; held = 0 }
}
