# Runs command lines of documents, as documented_commands prints them. The caller ends at the first failure (set -e).

# run_lines LEAST: runs the lines on standard input in this shell; at least LEAST lines are required. Each exits with 0,
# unless it ends with "# answers N".
run_lines() {
  local line command wanted status count=0
  while IFS= read -r line; do
    eval "command=$line"
    wanted=0
    [[ $command =~ '# answers '([0-9]+)$ ]] && wanted=${BASH_REMATCH[1]}
    echo "\$ $command"
    status=0
    eval "$command" </dev/null 3>&- || status=$?
    if ((status != wanted)); then
      echo "expected exit status $wanted, got $status: $command" >&2
      return 1
    fi
    count=$((count + 1))
  done
  if ((count < $1)); then
    echo "expected at least $1 command lines, got $count" >&2
    return 1
  fi
}
