# bash completion for vigilo: the program itself knows its commands.
_vigilo() {
    local word
    COMPREPLY=()
    while IFS=$'\t' read -r word _; do
        if [ "$word" = :files ]; then compopt -o default; else COMPREPLY+=("$word"); fi
    done < <("${COMP_WORDS[0]}" --complete "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null)
}
complete -F _vigilo vigilo
