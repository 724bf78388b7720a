#pragma once

/// Stands before a function whose loops the compiler turns into vector operations: where compiler
/// and loader can do it, the function is there once more for processors with AVX2, whose vectors
/// are twice as wide. Both give the same bits, since neither joins multiplications and additions.
#if defined(__x86_64__) && defined(__gnu_linux__) && !defined(__clang__)
#define BRINDLEVANE_VECTOR_CLONES [[gnu::target_clones("avx2", "default")]]
#else
#define BRINDLEVANE_VECTOR_CLONES
#endif
