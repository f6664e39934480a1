#!/bin/bash
# expect_rejection.sh MESSAGE[|MESSAGE] COMMAND...: passes when the check of a spoiled
# library fails with these messages and for no other reason.
set -uo pipefail
IFS='|' read -ra messages <<<"$1"
shift
output=$("$@" 2>&1)
status=$?
echo "$output"
if [ "$status" -ne 1 ]; then
    echo "expected a failed check with status 1, got status $status"
    exit 1
fi
failures=$(grep '^FAIL' <<<"$output")
for message in "${messages[@]}"; do
    if ! grep -qF -- "$message" <<<"$failures"; then
        echo "the check did not say \"$message\""
        exit 1
    fi
done
if [ "$(wc -l <<<"$failures")" -ne "${#messages[@]}" ]; then
    echo "the check found more than what is spoiled"
    exit 1
fi
