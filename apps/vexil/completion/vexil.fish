# Completion of vexil for fish. The program itself knows what may follow.

function __vexil_complete
    set -l words (commandline --tokenize --current-process --cut-at-cursor)
    set -l word (commandline --current-token --cut-at-cursor)
    # A path may stand after the name of its option.
    set -l path (string replace --regex '^--[a-z-]*=' '' -- "$word")
    set -l option (string sub --length (math (string length -- "$word") - (string length -- "$path")) -- "$word")
    set -l lines ($words[1] complete-words $words[2..-1] "$word" 2>/dev/null)
    switch "$lines[1]"
        case files
            __fish_complete_path "$path" | string replace --regex '^' -- "$option"
        case folders
            __fish_complete_directories "$path" | string replace --regex '^' -- "$option"
        case '*'
            printf '%s\n' $lines[2..-1]
    end
end

complete --command vexil --no-files --arguments '(__vexil_complete)'
