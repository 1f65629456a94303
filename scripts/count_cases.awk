# Counts the test cases in ctest's LastTest.log: a GoogleTest program counts with its cases, any other test as one.
# Prints "N passed, N failed".

function close_test() {
    if (name == "")
        return
    passed += cases_passed
    failed += cases_failed
    if (cases_passed + cases_failed == 0 && ok)
        passed++
    else if (cases_failed == 0 && !ok)
        failed++ # no GoogleTest program, or one that crashed or timed out before its summary
    name = ""
}

/^[0-9]+\/[0-9]+ Testing: / {
    close_test()
    name = $3
    ok = cases_passed = cases_failed = 0
}
/^\[  PASSED  \] [0-9]+ tests?\./ { cases_passed = $4 }
/^\[  FAILED  \] [0-9]+ tests?, listed below:/ { cases_failed = $4 }
/^Test Passed\.$/ || /^Test Pass Reason:/ { ok = 1 }

END {
    close_test()
    printf "%d passed, %d failed\n", passed, failed
}
