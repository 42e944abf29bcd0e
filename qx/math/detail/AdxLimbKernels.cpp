#include "qx/math/detail/LimbKernels.h"

#if defined(__x86_64__)

#include <qx/math/detail/LimbRows.h>

// Compilers keep no carry in a flag from one round of a loop to the next, let alone two, so the
// rows are written out: MULX leaves the flags alone, ADCX carries in CF and ADOX in OF only, LEA in
// neither and DEC in OF only. A row first takes 1, 2 and 4 limbs as its length says, then 8 a
// round.
//
// Operands of a step: at an offset in a and r, one limb with what the step before carried over in
// %[c0] or %[c1], by turns.

// clang-format off
#define QX_ONE_LIMB(STEP) STEP("0", "c0", "c1") "mov %[c1], %[c0]\n\t"
#define QX_TWO_LIMBS(STEP) STEP("0", "c0", "c1") STEP("8", "c1", "c0")
#define QX_FOUR_LIMBS(STEP) QX_TWO_LIMBS(STEP) STEP("16", "c0", "c1") STEP("24", "c1", "c0")
#define QX_EIGHT_LIMBS(STEP) QX_FOUR_LIMBS(STEP)      \
    STEP("32", "c0", "c1") STEP("40", "c1", "c0")     \
    STEP("48", "c0", "c1") STEP("56", "c1", "c0")

#define QX_ADVANCE(BYTES) "lea " BYTES "(%[a]), %[a]\n\tlea " BYTES "(%[r]), %[r]\n\t"

// Into the limb carried over; the sum fits, for r + a * b fits n + 1 limbs.
#define QX_FOLD_CF "adcx %[zero], %[c0]\n\t"
#define QX_FOLD_OF "adox %[zero], %[c0]\n\t"

// All n limbs of a row. TEST and SHR leave both flags clear.
#define QX_ROW(STEP)                                                        \
    "test $1, %b[n]\n\tjz 1f\n\t"                                           \
        QX_ONE_LIMB(STEP) QX_FOLD_CF QX_FOLD_OF QX_ADVANCE("8")             \
    "1:\n\ttest $2, %b[n]\n\tjz 2f\n\t"                                     \
        QX_TWO_LIMBS(STEP) QX_FOLD_CF QX_FOLD_OF QX_ADVANCE("16")           \
    "2:\n\ttest $4, %b[n]\n\tjz 3f\n\t"                                     \
        QX_FOUR_LIMBS(STEP) QX_FOLD_CF QX_FOLD_OF QX_ADVANCE("32")          \
    "3:\n\tshr $3, %[n]\n\tjz 5f\n\t"                                       \
    "test %[n], %[n]\n"                                                     \
    "4:\n\t"                                                                \
        QX_EIGHT_LIMBS(STEP) QX_ADVANCE("64") QX_FOLD_OF                    \
    "dec %[n]\n\tjnz 4b\n\t"                                                \
        QX_FOLD_CF                                                          \
    "5:\n\t"

#define QX_MULTIPLY_STEP(AT, CARRY, NEXT)           \
    "mulx " AT "(%[a]), %[t], %[" NEXT "]\n\t"      \
    "adcx %[" CARRY "], %[t]\n\t"                   \
    "mov %[t], " AT "(%[r])\n\t"

#define QX_ADD_STEP(AT, CARRY, NEXT)                \
    "mulx " AT "(%[a]), %[t], %[" NEXT "]\n\t"      \
    "adcx %[" CARRY "], %[t]\n\t"                   \
    "adox " AT "(%[r]), %[t]\n\t"                   \
    "mov %[t], " AT "(%[r])\n\t"

// r - x is the complement of the sum of x and the complement of r.
#define QX_SUBTRACT_STEP(AT, CARRY, NEXT)           \
    "mulx " AT "(%[a]), %[t], %[" NEXT "]\n\t"      \
    "adcx %[" CARRY "], %[t]\n\t"                   \
    "mov " AT "(%[r]), %[" CARRY "]\n\t"            \
    "not %[" CARRY "]\n\t"                          \
    "adox %[t], %[" CARRY "]\n\t"                   \
    "not %[" CARRY "]\n\t"                          \
    "mov %[" CARRY "], " AT "(%[r])\n\t"

#define QX_DEFINE_ROW(STEP)                                                 \
    Limb c0 = 0, c1, t;                                                     \
    __asm__ volatile(QX_ROW(STEP)                                           \
        : [a] "+&r"(a), [r] "+&r"(r), [n] "+&r"(n),                         \
          [c0] "+&r"(c0), [c1] "=&r"(c1), [t] "=&r"(t)                      \
        : "d"(b), [zero] "r"(Limb{0})                                       \
        : "cc", "memory");                                                  \
    return c0

// r = a +- b: single limbs, then four a round, the carry in CF throughout.
#define QX_SUM_STEP(CARRYING, AT)                   \
    "mov " AT "(%[a]), %[t]\n\t"                    \
    CARRYING " " AT "(%[b]), %[t]\n\t"              \
    "mov %[t], " AT "(%[r])\n\t"
#define QX_SUM_ADVANCE(BYTES) QX_ADVANCE(BYTES) "lea " BYTES "(%[b]), %[b]\n\t"
#define QX_DEFINE_SUM(CARRYING)                                             \
    Limb t, rest = n & 3;                                                   \
    n >>= 2;                                                                \
    __asm__ volatile(                                                       \
    "test %[rest], %[rest]\n\tjz 2f\n" /* clears CF */                      \
    "1:\n\t"                                                                \
        QX_SUM_STEP(CARRYING, "0") QX_SUM_ADVANCE("8")                      \
    "dec %[rest]\n\tjnz 1b\n"                                               \
    "2:\n\tjrcxz 4f\n"                                                      \
    "3:\n\t"                                                                \
        QX_SUM_STEP(CARRYING, "0") QX_SUM_STEP(CARRYING, "8")               \
        QX_SUM_STEP(CARRYING, "16") QX_SUM_STEP(CARRYING, "24")             \
        QX_SUM_ADVANCE("32")                                                \
    "dec %[n]\n\tjnz 3b\n"                                                  \
    "4:\n\tsbb %[t], %[t]\n\t"                                              \
        : [a] "+&r"(a), [b] "+&r"(b), [r] "+&r"(r),                         \
          [n] "+&c"(n), [rest] "+&r"(rest), [t] "=&r"(t)                    \
        :                                                                   \
        : "cc", "memory");                                                  \
    return Limb{0} - t
// clang-format on

namespace qx::math::detail {

namespace {

struct AdxRows {
    static Limb add(Limb* r, const Limb* a, const Limb* b, size_t n) { QX_DEFINE_SUM("adc"); }
    static Limb subtract(Limb* r, const Limb* a, const Limb* b, size_t n) { QX_DEFINE_SUM("sbb"); }

    static Limb multiplyLimb(Limb* r, const Limb* a, size_t n, Limb b) {
        QX_DEFINE_ROW(QX_MULTIPLY_STEP);
    }
    static Limb addProduct(Limb* r, const Limb* a, size_t n, Limb b) { QX_DEFINE_ROW(QX_ADD_STEP); }
    static Limb subtractProduct(Limb* r, const Limb* a, size_t n, Limb b) {
        QX_DEFINE_ROW(QX_SUBTRACT_STEP);
    }

    /// Doubles r with the carry in CF and adds the squares with the carry in OF.
    static void addSquares(Limb* r, const Limb* a, size_t n) {
        Limb low, high, t;
        __asm__ volatile("test %[n], %[n]\n"
                         "1:\n\t"
                         "mov (%[a]), %%rdx\n\t"
                         "mulx %%rdx, %[low], %[high]\n\t"
                         "mov (%[r]), %[t]\n\t"
                         "adcx %[t], %[t]\n\t"
                         "adox %[low], %[t]\n\t"
                         "mov %[t], (%[r])\n\t"
                         "mov 8(%[r]), %[t]\n\t"
                         "adcx %[t], %[t]\n\t"
                         "adox %[high], %[t]\n\t"
                         "mov %[t], 8(%[r])\n\t"
                         "lea 8(%[a]), %[a]\n\t"
                         "lea 16(%[r]), %[r]\n\t"
                         "lea -1(%[n]), %[n]\n\t" // DEC would change OF
                         "jrcxz 2f\n\t"
                         "jmp 1b\n"
                         "2:\n\t"
                         : [a] "+&r"(a), [r] "+&r"(r), [n] "+&c"(n), [low] "=&r"(low),
                           [high] "=&r"(high), [t] "=&r"(t)
                         :
                         : "rdx", "cc", "memory");
    }
};

} // namespace

constinit const LimbKernels AdxLimbKernels = {
    .name = "adx",
    .add = AdxRows::add,
    .subtract = AdxRows::subtract,
    .multiplyLimb = AdxRows::multiplyLimb,
    .addProduct = AdxRows::addProduct,
    .subtractProduct = AdxRows::subtractProduct,
    .multiplyRows = LimbRows<AdxRows>::multiply,
    .squareRows = LimbRows<AdxRows>::square,
    .montgomeryRows = LimbRows<AdxRows>::montgomery,
    .nttMultiply = nttMultiplyAvx2,
    .thresholds = AdxThresholds,
};

} // namespace qx::math::detail

#endif
