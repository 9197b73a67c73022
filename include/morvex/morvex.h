/* Morvex: the C interface, for hosts in C and for bindings of other languages.
 *
 * The same calculator as clsMorvex in morvex.hpp, behind an opaque handle:
 *
 *   morvex_calculator *calc = morvex_create();
 *   morvex_initialize(calc);
 *   morvex_calculate(calc, "2+3", 3);
 *   printf("%s\n", morvex_out_string(calc, NULL));   // 5
 *   morvex_destroy(calc);
 *
 * Text. Lines and answers are byte strings, a character a byte. Functions
 * that take text take a pointer and a length (the text may hold NUL bytes);
 * functions that give text return a NUL-terminated pointer and, when `length`
 * is not NULL, store its length there.
 *
 * Lifetime of returned text. A pointer returned by a getter stays valid until
 * the next call on the same handle (any morvex_ function that takes it),
 * except the variable keys, see morvex_variable. Copy what must last longer.
 *
 * Failures. A wrong line is not a failure: it gets an error number, name and
 * position (morvex_err_number, ...). A failure is a fault the calculator
 * cannot handle (a call before morvex_initialize, nesting too deep, a line
 * too long): the function returns MORVEX_FAILED, and morvex_failure_code and
 * morvex_failure_message tell which (codes below). The calculator and its
 * variables stay usable after a failure. No C++ exception ever leaves these
 * functions: a failure of the C++ run-time is reported as
 * MORVEX_FAILURE_OUT_OF_MEMORY or MORVEX_FAILURE_INTERNAL. A NULL handle
 * makes a function return MORVEX_FAILED (getters: "" or 0) without a record.
 *
 * Events. One setter per event takes a function and a `void *user` pointer
 * that is passed back on every call; a NULL function removes the handler.
 * Handlers run synchronously, inside the call in progress; they may read the
 * handle's properties (morvex_dna_string during a Change event shows the text
 * in the midst of its reduction) but must not calculate on it.
 *
 * Threads. One handle is used from one thread at a time; calculators of one
 * thread share state and must not compute at the same time.
 */
#ifndef MORVEX_MORVEX_H
#define MORVEX_MORVEX_H

#include <stddef.h>
#include <stdint.h>

#include "morvex/export.h"
#include "morvex/version.hpp"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct morvex_calculator morvex_calculator;

/* Return codes. */
#define MORVEX_OK 0
#define MORVEX_FAILED 1

/* Failure codes (morvex_failure_code): the calculator's own, and two for a
 * failure of the C++ run-time behind this interface. */
#define MORVEX_FAILURE_INVALID_CALL 5
#define MORVEX_FAILURE_OVERFLOW 6
#define MORVEX_FAILURE_OUT_OF_MEMORY 7
#define MORVEX_FAILURE_SUBSCRIPT_OUT_OF_RANGE 9
#define MORVEX_FAILURE_DIVISION_BY_ZERO 11
#define MORVEX_FAILURE_TYPE_MISMATCH 13
#define MORVEX_FAILURE_OUT_OF_STACK_SPACE 28
#define MORVEX_FAILURE_INTERNAL 51
#define MORVEX_FAILURE_OBJECT_NOT_SET 91
#define MORVEX_FAILURE_KEY_IN_USE 457

/* The library's version, "major.minor.patch". */
MORVEX_API const char *morvex_version(void);

/* Life of a handle. morvex_create returns NULL when memory is short. */
MORVEX_API morvex_calculator *morvex_create(void);
MORVEX_API void morvex_destroy(morvex_calculator *calc);
MORVEX_API int morvex_initialize(morvex_calculator *calc);
MORVEX_API int morvex_unload_vars(morvex_calculator *calc);
MORVEX_API int morvex_terminate(morvex_calculator *calc);

/* The last failure on this handle; 0 and "" after a call that succeeded. */
MORVEX_API int32_t morvex_failure_code(const morvex_calculator *calc);
MORVEX_API const char *morvex_failure_message(const morvex_calculator *calc);

/* Computes a line. The answer is in morvex_out_string, an error in
 * morvex_err_number and the others; morvex_result gives the text the
 * calculation itself returned (the answer, or the error's name, ...; "" for a
 * script call, whose answer is in morvex_out_string). */
MORVEX_API int morvex_calculate(morvex_calculator *calc, const char *line, size_t length);
MORVEX_API const char *morvex_result(morvex_calculator *calc, size_t *length);

/* Runs a text file line by line; path NULL (or length 0) is StartUp.txt in
 * the program's folder. */
MORVEX_API int morvex_load_h_text(morvex_calculator *calc, const char *path, size_t length);
/* Lists the user variables through the GetFunctions event. */
MORVEX_API int morvex_fetch_functions(morvex_calculator *calc);

/* Properties of the last line. */
MORVEX_API const char *morvex_out_string(morvex_calculator *calc, size_t *length);
MORVEX_API const char *morvex_in_string(morvex_calculator *calc, size_t *length);
MORVEX_API int16_t morvex_err_number(const morvex_calculator *calc);
MORVEX_API int16_t morvex_err_first(const morvex_calculator *calc); /* 0-based */
MORVEX_API int16_t morvex_err_length(const morvex_calculator *calc);
MORVEX_API const char *morvex_err_description(morvex_calculator *calc, size_t *length);
MORVEX_API const char *morvex_err_formula(morvex_calculator *calc, size_t *length);
MORVEX_API const char *morvex_script_failure(morvex_calculator *calc, size_t *length);
MORVEX_API const char *morvex_expression(morvex_calculator *calc, size_t *length);
MORVEX_API const char *morvex_string_typing(morvex_calculator *calc, size_t *length);
MORVEX_API const char *morvex_string_variable(morvex_calculator *calc, size_t *length);
/* The working chain and the second chain as they stand at the moment of the
 * call (within a Change or Change2 handler: in the midst of a reduction). */
MORVEX_API const char *morvex_dna_string(morvex_calculator *calc, size_t *length);
MORVEX_API const char *morvex_dna_string2(morvex_calculator *calc, size_t *length);

/* The angle unit, "Degree" or "Radian". */
MORVEX_API const char *morvex_angle_unit(morvex_calculator *calc, size_t *length);

/* The folder where StartUp.txt, vbscript.txt and formula files live. */
MORVEX_API const char *morvex_program_folder(morvex_calculator *calc, size_t *length);
MORVEX_API int morvex_set_program_folder(morvex_calculator *calc, const char *folder, size_t length);

/* The variable table, in table order (Ans, XVar, YVar first). A call of
 * morvex_variable_count takes a snapshot of the table; morvex_variable reads
 * entry `index` (1-based) of the latest snapshot, taking one if there is none.
 * Keys stay valid until the next call on the handle other than
 * morvex_variable. type_var: 1 plain number, 2 formula in XVar, 3 formula in
 * YVar, 4 formula in both. Any out pointer may be NULL. */
MORVEX_API int32_t morvex_variable_count(morvex_calculator *calc);
MORVEX_API int morvex_variable(morvex_calculator *calc, int32_t index, const char **key, size_t *key_length,
                               int16_t *type_var, double *value);

/* Events. */
typedef void (*morvex_change_handler)(void *user, int16_t length, int16_t first_char);
typedef void (*morvex_notice_handler)(void *user);
typedef void (*morvex_percent_handler)(void *user, double percent);
typedef void (*morvex_get_functions_handler)(void *user, const char *func_name, size_t name_length,
                                             const char *expression, size_t expression_length);
/* Asked for the value of an unknown word: returns the answer as a
 * NUL-terminated text, which the calculator copies at once, or NULL or "" to
 * decline. */
typedef const char *(*morvex_input_box_handler)(void *user, const char *word, size_t word_length);

/* Characters first_char (1-based) for length of DNAString are about to be, or
 * have been, replaced. */
MORVEX_API int morvex_on_change(morvex_calculator *calc, morvex_change_handler handler, void *user);
/* The same for DNAString2, the text of a formula being worked out. */
MORVEX_API int morvex_on_change2(morvex_calculator *calc, morvex_change_handler handler, void *user);
/* A pause that the line "$" or a line file asked for. */
MORVEX_API int morvex_on_wait(morvex_calculator *calc, morvex_notice_handler handler, void *user);
/* Share of a line file done, from 0 to 1. */
MORVEX_API int morvex_on_progress(morvex_calculator *calc, morvex_percent_handler handler, void *user);
/* Share of the replay of definitions into a nested calculator done. */
MORVEX_API int morvex_on_internal_calc(morvex_calculator *calc, morvex_percent_handler handler, void *user);
/* One user variable and the text of its stored chain (morvex_fetch_functions). */
MORVEX_API int morvex_on_get_functions(morvex_calculator *calc, morvex_get_functions_handler handler, void *user);
/* Share of the recalculation of plain variables done. */
MORVEX_API int morvex_on_update_variables(morvex_calculator *calc, morvex_percent_handler handler, void *user);
/* The value of an unknown word. */
MORVEX_API int morvex_on_input_box(morvex_calculator *calc, morvex_input_box_handler handler, void *user);
/* Share of a script procedure's work done. */
MORVEX_API int morvex_on_vbs_progress(morvex_calculator *calc, morvex_percent_handler handler, void *user);
/* Not an event: the turn the calculator gives the host's event loop after
 * each line (and each line of a file). */
MORVEX_API int morvex_on_host_turn(morvex_calculator *calc, morvex_notice_handler handler, void *user);

#ifdef __cplusplus
}
#endif

#endif /* MORVEX_MORVEX_H */
