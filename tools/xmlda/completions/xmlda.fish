# fish completion for xmlda. The program itself says what may be put in place of the last word: "xmlda complete".

function __xmlda_complete
    set -l words (commandline --cut-at-cursor --tokenize --current-process)
    set -l current (commandline --cut-at-cursor --current-token)
    set -l lines (command $words[1] complete $words[2..-1] "$current" 2>/dev/null)
    if test "$lines[1]" = :files
        __fish_complete_path "$current"
    else if set -q lines[1]
        printf '%s\n' $lines
    end
end

complete --command xmlda --no-files --arguments '(__xmlda_complete)'
