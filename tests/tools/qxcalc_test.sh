#!/usr/bin/env bash
# Tests the program qxcalc as a user meets it. Arguments: the program, the folder of the test data.
. "$(dirname "$0")/checks.sh"
qxcalc=$program
known=$2/numbers

# gives RESULT ARGUMENTS...: results on one line
gives() {
    local expected=$1
    shift
    equal "$*" "$("$qxcalc" "$@" 2>&1 | tr '\n' ' ')" "$expected "
}

# --- precedence and association
gives 14 '2+3*4'
gives 20 '(2+3)*4'
gives 5 '10-3-2'
gives 512 '2^3^2'
gives -4 '-2^2'
gives 0.25 '2^-2'
gives 4 '-(-2)^2*-1'
gives 7 '(--7)'
gives 1 '7 % 2 * 1'
gives '1 2' '1;;2; # and no more'
gives '3 5' 1+2 2+3
gives -2 '-5+3'
gives -2 -- '-5+3'

# --- exact decimals, rounded quotients
gives 0.3 '0.1+0.2'
gives 0.375 '1.50*.25'
gives 3.5 '7/2'
gives 0.66666666666666666667 '2/3'
gives -0.67 -s2 '-2/3'
gives 1 -s 0 '1/2'
gives 0.01 '0.1^2'
gives 12 '12.'
gives 0 '-0.0'
gives 100 '100'
gives 1.25 '7.25%2'
gives 2 '-7%3'
gives 1.4142135623730950488 "sqrt(2)" # with the zero of its twentieth digit cut off
gives 1.4142135624 "scale=10; sqrt(2)"
gives 0.1 "scale=1; sqrt(0.01)"
gives 0 'sqrt(0)'
gives 99999999999999999999 'sqrt(9999999999999999999800000000000000000001)'

# --- functions
gives -3 'div(-7, 2)'
gives 6 'gcd(-12, 18)'
gives 5 'gcd(0, 5)'
gives 4 'modinv(3, 11)'
gives 445 'modpow(4, 13, 497)'
gives 4 'modpow(3, -1, 11)'
gives 3.14 'pi(2)'
gives 3 'pi(0)'
gives 1 '1^(10^30)'
gives -1 '(-1)^(10^30+1)'
equal "pi(10000)" "$("$qxcalc" 'pi(10000)')" "$(tr -d '\n' <"$known/pi-10000.txt")"
equal "2^4423-1" "$("$qxcalc" '2^4423-1')" "$(tr -d '\n' <"$known/mersenne-4423.txt")"

# --- radixes
gives FF -o16 255
gives 255 -i 16 FF
gives ZZ -i36 -o36 ZZ
gives 101.101 -o2 5.625
gives 5.625 -i2 101.101
gives 0.1999999999999999A -o16 0.1
gives 0.1 -i3 -o3 0.1
gives '10 A' 'ibase=16; A; obase=16; A'
gives 20 'ibase=16; scale' # a setting is a value

# --- what cannot be done
fails 1 'column 2: Divide by zero.' '1/0'
fails 1 'column 2: Divide by zero.' '1%0'
fails 1 "column 3: Modulus can't be negative." '1 % -2'
fails 1 'column 1: Not invertible.' 'modinv(2, 4)'
fails 1 'column 3: something is missing here' '1+'
fails 1 'column 2: something is missing here' '('
for statement in '2 3' '1)' 1,000 '1!' 'scale=3 2'; do # nothing is told of what is no expression
    "$qxcalc" "1; $statement; 3" >stdout 2>stderr
    equal "status of $statement" $? 1
    equal "results of $statement" "$(cat stdout)" 1
done
fails 1 'column 3: unexpected "3"' '2 3'
equal "a setting without its end" \
    "$(printf 'scale=3 2\n1/3' | "$qxcalc" -s2 2>/dev/null)" 0.33
fails 1 'column 1: unexpected "$"' '$'
fails 1 'column 2: unexpected "😀"' '1😀'
fails 1 'column 4: unexpected "." in a number of radix 10' '1.2.3'
fails 1 'column 2: unexpected "9" in a number of radix 8' -i8 '79'
fails 1 'column 2: a digit is missing' '.'
fails 1 'column 3: unknown name "abc"' '1+abc(2)'
fails 1 'column 1: gcd takes 2 arguments, not 1' 'gcd(1)'
fails 1 'column 5: an integer is needed' 'gcd(1.5, 2)'
fails 1 'column 3: an integer is needed' '2^0.5'
fails 1 'column 1: a negative number has no square root' 'sqrt(-1)'
fails 1 'column 3: the result would be too large' '10^10^10'
fails 1 'column 7: ibase must be a number from 2 to 36' 'ibase=37'
fails 1 'column 7: scale must be a number from 0 to 10000000' 'scale=-1'
fails 1 'column 4: pi has 0 to 10000000 digits here' 'pi(-1)'
fails 1 'argument 2, column 2: Divide by zero.' 1 '1/0' 2
fails 1 'column 1001: nested too deeply' "$(printf '(%.0s' {1..2000})"
fails 2 'unknown option -x (qxcalc --help tells more)' -x
fails 2 'option -s needs a value (qxcalc --help tells more)' -s
fails 2 '-i: ibase must be a number from 2 to 36 (qxcalc --help tells more)' -i 1

# --- standard input: goes on behind a failure, tells the line
equal "lines" "$(printf '1+1\n\nscale=2\r\n1/0\n1/3' | "$qxcalc" 2>&1 | tr '\n' '|')" \
    '2|qxcalc: line 4, column 2: Divide by zero.|0.33|'
printf '1/0\n1\n' | "$qxcalc" >/dev/null 2>&1
equal "status of failing lines" $? 1
equal "a comment" "$("$qxcalc" '# 1+1')" ""
equal "no lines" "$("$qxcalc" </dev/null)" ""
equal "help" "$("$qxcalc" --help | head -c 13)" "usage: qxcalc"

# --- on a terminal it prompts, and answers each line before it reads the next
if command -v script >/dev/null; then
    equal "terminal" "$( (sleep 0.2; echo '6*7'; sleep 0.2; printf '\004') |
        script -qec "$qxcalc" /dev/null | tr -d '\r' | grep -c '^42$\|^> ')" 3
fi

# --- output that cannot be written
equal "full disk" "$("$qxcalc" 1 2>&1 >/dev/full; echo $?)" \
    "$(printf 'qxcalc: standard output: No space left on device\n1')"

finish
