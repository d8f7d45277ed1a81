# fish: what zelobox itself offers, beside the names of files.
function __zelobox_complete
    set --local words (commandline --tokenize --cut-at-cursor --current-process)
    command $words[1] complete -- $words[2..-1] (commandline --current-token --cut-at-cursor) 2>/dev/null
end
complete --command zelobox --arguments '(__zelobox_complete)'
