# Rows of the soak, sourced by it. Each leaves the row's figures in $figures.

# soak_tests ROW: builds and runs the tests that name the row, for as long as they take
soak_tests()
{
    local row=$1 log=$output/$1.log
    need_packages "${test_packages[@]}" "${watch_packages[@]}"
    build_preset release "soak_$row"
    say "Testing in whole: $row"
    # With CI set, a test that cannot run fails.
    CI=true FENNIX_SOAK_SHARE=$share FENNIX_SOAK_SEED=$seed ctest --preset release \
        --build-config Soak --label-regex "^$row\$" --parallel 1 --verbose 2>&1 \
        | tee "$log" | sed -un 's/^[0-9]*: progress: \(.*\)/\1 %/p; /^ *[0-9]*\/[0-9]* Test/p' \
        || die "$row has failed:"$'\n'"$(tail -n 60 "$log")"$'\n'"see $log"
    figures=$(sed -n 's/^[0-9]*: figures: //p' "$log")
    [ -n "$figures" ] || figures=$(count_passed "$log")
}

count_passed()
{
    awk '/: Totals:/ { programs += 1; passed += $3 }
        END { print passed, "passed in", programs, "programs, none failed" }' "$1"
}

# build_fuzzer PRESET NAME: Clang does
build_fuzzer()
{
    need_packages "${build_packages[@]}" "${simulator_packages[@]}" "${fuzz_packages[@]}"
    need_packages "libclang-rt-$(clang++ -dumpversion | cut -d. -f1)-dev"
    build_preset "$1" "fuzz_$2"
}

# fuzz NAME INPUTS LONGEST: tries INPUTS / $share inputs of up to LONGEST bytes
fuzz()
{
    local name=$1 inputs=$(($2 / share)) work=$output/$1 dictionary=() begin
    build_fuzzer fuzz "$name"
    begin=$SECONDS
    rm -rf "$work"
    mkdir -p "$work/found"
    [ ! -f "fuzz/$name.dict" ] || dictionary=("-dict=fuzz/$name.dict")
    say "Fuzzing: $name, $inputs inputs"
    # The place of every allocation costs a third of the speed; a finding's input, run again
    # without these options, gets it.
    ASAN_OPTIONS=malloc_context_size=0:quarantine_size_mb=1:thread_local_quarantine_size_kb=64 \
        "build/fuzz/bin/fuzz_$name" "$work/found" "fuzz/corpus/$name" "${dictionary[@]}" \
        -runs="$inputs" -max_len="$3" -seed="$seed" -artifact_prefix="$work/" 2>&1 \
        | tee "$work/log" | sed -un '/pulse/p' \
        || die "$name has a finding in $work:"$'\n'"$(tail -n 60 "$work/log")"
    figures="$inputs inputs, $((inputs / (SECONDS - begin + 1))) a second, no finding"
}

# What belongs to the parser in src/connection.cpp, as the compiler names it.
parser_functions='continues|restart|ntpFraction|requestFirmwarePage|closeSerialPort|readData|checkHalt'
parser_functions+='|parse|waitStart|waitLength|readFrame|waitEnd|matchChannelTag|readChannel|matchFail'
parser_functions+='|zepPacket|sendZepPacket'

# Runs the corpus alone. The table of the functions stays in build/soak/coverage.
measure_corpus()
{
    local fuzzer=build/fuzz-coverage/bin/fuzz_parser profile=$output/parser
    build_fuzzer fuzz-coverage parser
    say "Measuring what the corpus of the parser reaches"
    LLVM_PROFILE_FILE=$profile.profraw "$fuzzer" fuzz/corpus/parser -runs=0 > "$output/log" 2>&1 \
        || die "the corpus has a finding:"$'\n'"$(tail -n 60 "$output/log")"
    llvm-profdata merge -o "$profile.profdata" "$profile.profraw"
    llvm-cov report "$fuzzer" -instr-profile="$profile.profdata" -show-functions \
        src/connection.cpp | grep -E "[0-9]($parser_functions)E" > "$output/coverage"
    check_coverage
}

# Columns: name, regions, missed, share, lines, missed, share, branches, missed, share. A switch
# without a default has a branch for all other values, which the states have none of.
check_coverage()
{
    local branches missed
    read -r branches missed < <(awk '{ all += $8; missed += $9 - ($1 ~ /5parseE/ && $9 > 0) }
        END { print all, missed }' "$output/coverage")
    [ "$missed" -eq 0 ] || die "the corpus misses branches:"$'\n'"$(cat "$output/coverage")"
    figures="all $branches branches of the parser, but that of a state that there is not"
}
