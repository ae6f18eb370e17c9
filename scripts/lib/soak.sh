# Shared by the scripts; sourced after common.sh, never run. Rows of the soak that are tests,
# run in whole and for as long as they take.

# soak_tests ROW: builds and runs the tests that name the row
soak_tests()
{
    local row=$1 log=$output/$1.log
    need_packages "${test_packages[@]}" "${watch_packages[@]}"
    build_preset release "soak_$row"
    say "Testing in whole: $row"
    # With CI set, a test that cannot run fails.
    CI=true FENNIX_SOAK_SHARE=$share FENNIX_SOAK_SEED=$seed ctest --preset release \
        --build-config Soak --label-regex "^$row\$" --parallel 1 --verbose 2>&1 \
        | tee "$log" | percent_done | show_percent \
        || die "$row has failed:"$'\n'"$(tail -n 60 "$log")"$'\n'"see $log"
    figures=$(sed -n 's/^[0-9]*: figures: //p' "$log")
    [ -n "$figures" ] || figures=$(count_passed "$log")
}

# Reads what ctest prints: a test's own account, or how many have ended.
percent_done()
{
    local line
    while read -r line; do
        if [[ $line =~ ^[0-9]+:\ progress:\ ([0-9]+)$ ]]; then
            echo "${BASH_REMATCH[1]}"
        elif [[ $line =~ ^([0-9]+)/([0-9]+)\ Test ]]; then
            echo $((BASH_REMATCH[1] * 100 / BASH_REMATCH[2]))
        fi
    done
}

count_passed()
{
    awk '/: Totals:/ { programs += 1; passed += $3 }
        END { print passed, "passed in", programs, "programs, none failed" }' "$1"
}
