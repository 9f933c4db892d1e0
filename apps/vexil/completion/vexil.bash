# Completion of vexil for bash. The program itself knows what may follow.

_vexil() {
    local -a words=() lines=()
    local rest=$COMP_LINE word i
    # bash parts the line also at ":" and "=".
    for ((i = 0; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if [[ -z $rest || $rest == [[:space:]]* || $i -eq 0 ]]; then
            words+=("$word")
        else
            words[-1]+=$word
        fi
        rest=${rest#"${rest%%[![:space:]]*}"}
        rest=${rest#"$word"}
    done
    mapfile -t lines < <("${words[0]/#\~\//$HOME/}" complete-words "${words[@]:1}" 2>/dev/null)
    case ${lines[0]} in
        files) compopt -o default ;;
        folders) compopt -o dirnames ;;
        beginnings) compopt -o nospace ;;
    esac
    # What stands before the last ":" or "=" is not part of the word that bash replaces.
    local part=${words[-1]}
    part=${part%"${part##*[:=]}"}
    COMPREPLY=()
    for word in "${lines[@]:1}"; do
        word=${word%%$'\t'*}
        COMPREPLY+=("${word#"$part"}")
    done
}

complete -F _vexil vexil
