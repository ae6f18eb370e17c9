# Shared by the scripts; sourced after common.sh, never run. Fuzzers, built by Clang.

# Inputs are tried in parts, to show how far they are.
fuzz_parts=25

# build_fuzzer PRESET NAME
build_fuzzer()
{
    need_packages "${build_packages[@]}" "${simulator_packages[@]}" "${fuzz_packages[@]}"
    need_packages "libclang-rt-$(clang++ -dumpversion | cut -d. -f1)-dev"
    build_preset "$1" "fuzz_$2"
}

# fuzz NAME INPUTS LONGEST: tries INPUTS / $share inputs of up to LONGEST bytes
fuzz()
{
    local work=$output/$1 begin tried
    build_fuzzer fuzz "$1"
    begin=$SECONDS
    rm -rf "$work"
    mkdir -p "$work/found"
    say "Fuzzing: $1"
    fuzz_in_parts "$1" $(($2 / share / fuzz_parts)) "$3" | show_percent \
        || die "$1 has a finding in $work:"$'\n'"$(tail -n 60 "$work/log")"
    tried=$(awk '/number_of_executed_units/ { sum += $2 } END { print sum }' "$work/figures")
    figures="$tried inputs, $((tried / (SECONDS - begin + 1))) a second, no finding"
}

# fuzz_in_parts NAME INPUTS LONGEST: prints percentages
fuzz_in_parts()
{
    local work=$output/$1 options=() part
    [ ! -f "fuzz/$1.dict" ] || options=("-dict=fuzz/$1.dict")
    for ((part = 0; part < fuzz_parts; ++part)); do
        # The place of every allocation costs a third of the speed; a finding's input, run again
        # without these options, gets it.
        ASAN_OPTIONS=malloc_context_size=0:quarantine_size_mb=1:thread_local_quarantine_size_kb=64 \
            "build/fuzz/bin/fuzz_$1" "$work/found" "fuzz/corpus/$1" "${options[@]}" -runs="$2" \
            -max_len="$3" -seed=$((seed * fuzz_parts + part)) -keep_seed=1 -print_final_stats=1 \
            -artifact_prefix="$work/" > "$work/log" 2>&1 || return 1
        grep '^stat::' "$work/log" >> "$work/figures"
        echo $(((part + 1) * 100 / fuzz_parts))
    done
}

# What belongs to the parser in src/connection.cpp, as the compiler names it.
parser_functions='continues|restart|ntpFraction|requestFirmwarePage|closeSerialPort|readData|checkHalt'
parser_functions+='|parse|waitStart|waitLength|readFrame|waitEnd|matchChannelTag|readChannel|matchFail'
parser_functions+='|sendZepPacket'

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
