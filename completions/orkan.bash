# orkan.bash: completion of the command orkan in bash. Needs no other completion package.
# shellcheck shell=bash

_orkan_options='-A -C -D -E -H -K -L -M -N -O -P -R -S -T -U -V -Verbose -W'
_orkan_with_argument='DEKLOPTVWdekloptvw'

# _orkan_split WORD: an option word into $flags, the $letter behind them that takes an argument, and what is $attached.
_orkan_split() {
    local word=$1
    flags=${word%%["$_orkan_with_argument"]*}
    letter=${word:${#flags}:1}
    attached=${word:${#flags}+1}
}

# What the words in front of the one being typed ask for: $wanted, the letter of an option that lacks its argument,
# or $ended, no more options.
_orkan_read_words() {
    local i word flags letter attached
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ -n $wanted ]]; then
            wanted=
        elif [[ $word == -- || $word != -?* ]]; then
            ended=1
            return
        else
            _orkan_split "$word"
            [[ -n $attached ]] || wanted=$letter
        fi
    done
}

_orkan_newline_codes() {
    local code
    for code in '\\n' '\\r' '\\r\\n'; do
        [[ $code != "$typed"* ]] || COMPREPLY+=("$code")
    done
}

# _orkan_argument LETTER: the argument as a word of its own; nothing for numbers, keys and texts. Paths are left to
# bash, which knows about quotes.
_orkan_argument() {
    case $1 in
        [EOeo]) compopt -o default ;;
        [Tt]) compopt -o dirnames ;;
        [Pp]) _orkan_newline_codes ;;
    esac
}

# The argument attached to its option: -O/tmp/out.
_orkan_attached() {
    local kind path
    case $letter in
        [EOeo]) kind='file' ;;
        [Tt]) kind='directory' ;;
        *) return ;;
    esac
    compopt -o filenames -o nospace
    while IFS= read -r path; do
        [[ ! -d $path ]] || path+=/
        COMPREPLY+=("$flags$letter$path")
    done < <(compgen -A "$kind" -- "$attached")
}

_orkan() {
    local typed=${COMP_WORDS[COMP_CWORD]} wanted='' ended='' flags letter attached
    COMPREPLY=()
    _orkan_read_words
    if [[ -n $wanted ]]; then
        _orkan_argument "$wanted"
    elif [[ -n $ended || $typed != -* ]]; then
        compopt -o default
    else
        _orkan_split "$typed"
        if [[ -n $attached && erbose != "$attached"* ]]; then
            _orkan_attached
        else
            local options=$_orkan_options
            ((COMP_CWORD > 1)) || options+=' --help'
            mapfile -t COMPREPLY < <(compgen -W "$options" -- "$typed")
        fi
    fi
}

complete -F _orkan orkan ORKAN
