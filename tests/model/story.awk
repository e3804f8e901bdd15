# Makes a story of the lines that the model prints: one sentence a line, and an announcement that
# nothing interrupts in one sentence.
function print_named(text) {
    gsub(/host 1/, "host A", text)
    gsub(/host 2/, "host B", text)
    gsub(/partner 1/, "partner P", text)
    gsub(/partner 2/, "partner Q", text)
    gsub(/partner 3/, "partner R", text)
    print text
}
function print_taking() {
    if (taking != "") print_named(taking)
    taking = ""
}
!/^(host|partner|the bus|broken)/ { next }
$3 == "takes" { print_taking(); taking = $0; next }
$3 == "releases" && taking == $1 " " $2 " takes " $4 {
    taking = ""
    print_named($1 " " $2 " announces " $4)
    next
}
{ print_taking(); print_named($0) }
/^broken/ { exit }
