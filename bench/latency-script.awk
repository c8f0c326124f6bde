# Makes a client's script of a statement log: the values take the places of the "?", questions to the
# catalogue are left out. A transaction is one batch, of 500 statements at most; outside of one each
# statement is a batch.
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
    if (++held == 500 || !inside) { print "go"; held = 0 }
}
