# bash completion for xmlda. The program itself says what may be put in place of the last word: "xmlda complete".

_xmlda() {
  # Words are taken from the line itself: bash also breaks them at ":" and "=", which URLs and items hold. A blank
  # behind a backslash does not end a word.
  local blank=$'\x1f' line=${COMP_LINE:0:COMP_POINT} words current typed i
  line=${line//\\ /$blank}
  read -ra words <<<"$line"
  [[ $line != *[[:space:]] ]] || words+=('')
  typed=${words[-1]//$blank/\\ }
  words=("${words[@]//$blank/ }")
  current=${words[-1]#[\"\']}
  words[-1]=$current

  mapfile -t COMPREPLY < <("${words[0]/#\~/$HOME}" complete "${words[@]:1}" 2>/dev/null)
  if [[ ${COMPREPLY[0]-} == :files ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    compopt -o filenames 2>/dev/null
    return
  fi
  COMPREPLY=("${COMPREPLY[@]%%$'\t'*}")
  # A name goes on behind these.
  if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *[/=] ]]; then
    compopt -o nospace 2>/dev/null
  fi

  # What stands in front of the last ":" or "=" is another word to bash.
  local done_part=${typed%"${typed##*[:=]}"}
  for i in "${!COMPREPLY[@]}"; do
    [[ $typed == [\"\']* ]] || COMPREPLY[i]=$(printf '%q' "${COMPREPLY[i]}")
    COMPREPLY[i]=${COMPREPLY[i]#"$done_part"}
  done
}

complete -F _xmlda xmlda
