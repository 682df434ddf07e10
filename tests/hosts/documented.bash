# Runs command lines of documents, as documented_commands prints them.

# run_lines LEAST: those on standard input, in this shell; fewer than so many are a failure. Each answers 0, unless it ends
# with "# answers N".
run_lines() {
  local line command wanted status count=0
  while IFS= read -r line; do
    eval "command=$line"
    wanted=0
    [[ $command =~ '# answers '([0-9]+)$ ]] && wanted=${BASH_REMATCH[1]}
    echo "\$ $command"
    status=0
    eval "$command" </dev/null 3>&- || status=$?
    same "the answer of: $command" "$wanted" "$status"
    count=$((count + 1))
  done
  ((count >= $1)) || same "command lines" "$1 or more" "$count"
}
