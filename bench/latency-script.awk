# SPDX-License-Identifier: Apache-2.0
# Turns a statement log into a client's script: replaces the "?" by their values and omits catalogue
# queries. Each statement is a batch; inside a transaction, a batch has up to `most` statements.
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
