
# ecckey's completion: subcommands, their options, and the values an option or operand takes
# where they are words; file names otherwise (complete -o default).
_ecckey() {
    local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]} takes words
    COMPREPLY=()
    # Readline splits "--to=pk" into "--to" "=" "pk" and "file:x" into "file" ":" "x".
    [[ $prev == : || $cur == : ]] && return
    if [[ $cur == = ]]; then
        cur=
    elif [[ $prev == = ]]; then
        prev=${COMP_WORDS[COMP_CWORD-2]}
    fi
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "$_ecckey_commands --help --version" -- "$cur")
        return
    fi
    local command=${COMP_WORDS[1]}
    if [[ $prev == --* && -n ${_ecckey_args["$command $prev"]+set} ]]; then
        takes=${_ecckey_args["$command $prev"]}
    elif [[ $cur == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "${_ecckey_args[$command]-} --help --verbose" -- "$cur")
        return
    else
        takes=${_ecckey_args["$command @"]-}
    fi
    case $takes in
        *[a-z]*) words=${takes//|/ } ;;
        *) words=${_ecckey_words[$takes]-} ;;
    esac
    [[ -n $words ]] && mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    [[ $takes == SOURCE ]] && compopt -o nospace 2> /dev/null
    return 0
}
complete -o default -F _ecckey ecckey
