/* The C interface as a C host sees it: a property of each kind, a setter of
 * events with its user pointer, failures as return codes, and a handle that
 * goes on working after a failure. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "morvex/morvex.h"

static int failures = 0;

#define CHECK(condition) check((condition) != 0, #condition, NULL, NULL, __LINE__)
#define CHECK_TEXT(actual, expected) check(strcmp((actual), (expected)) == 0, #actual, (actual), (expected), __LINE__)

static void check(int passed, const char *what, const char *got, const char *expected, int line) {
  if (passed) return;
  if (got != NULL) fprintf(stderr, "%s:%d: %s is \"%s\", not \"%s\"\n", __FILE__, line, what, got, expected);
  else fprintf(stderr, "%s:%d: failed: %s\n", __FILE__, line, what);
  ++failures;
}

static int calculate(morvex_calculator *calc, const char *line) { return morvex_calculate(calc, line, strlen(line)); }

/* Each Change event with the text of DNAString at its moment. */
struct trace {
  morvex_calculator *calc;
  char text[512];
};

static void on_change(void *user, int16_t length, int16_t first_char) {
  struct trace *trace = user;
  size_t used = strlen(trace->text);
  snprintf(trace->text + used, sizeof trace->text - used, "(%d,%d)%s ", length, first_char,
           morvex_dna_string(trace->calc, NULL));
}

static const char *answer_k(void *user, const char *word, size_t length) {
  ++*(int *)user;
  return length == 1 && word[0] == 'k' ? "1.5" : NULL;
}

static void list_entry(void *user, const char *name, size_t name_length, const char *text, size_t text_length) {
  char *listing = user;
  size_t used = strlen(listing);
  snprintf(listing + used, 256 - used, "%.*s:%.*s ", (int)name_length, name, (int)text_length, text);
}

int main(void) {
  struct trace trace = {0};
  morvex_calculator *calc = morvex_create();
  size_t length = 0;
  int asked = 0;
  char listing[256] = "", *long_line;
  const char *key = NULL;
  int16_t type_var = 0;
  int32_t count;

  CHECK_TEXT(morvex_version(), MORVEX_VERSION_STRING);
  CHECK(calculate(calc, "1+1") == MORVEX_FAILED); /* not initialized */
  CHECK(morvex_failure_code(calc) == MORVEX_FAILURE_OBJECT_NOT_SET);
  CHECK(strlen(morvex_failure_message(calc)) > 0);
  CHECK(morvex_initialize(calc) == MORVEX_OK);
  CHECK_TEXT(morvex_failure_message(calc), "");

  CHECK(calculate(calc, "sin(30)+1.5E2=area rounded") == MORVEX_OK);
  CHECK_TEXT(morvex_out_string(calc, &length), "150.5");
  CHECK(length == 5);
  CHECK_TEXT(morvex_in_string(calc, NULL), "Sin(30)+1.5E2");
  CHECK_TEXT(morvex_expression(calc, NULL), "rounded");

  CHECK(calculate(calc, "2+*3") == MORVEX_OK); /* a wrong line is no failure */
  CHECK(morvex_err_number(calc) == 5);
  CHECK_TEXT(morvex_err_description(calc, NULL), "OperatorBadPosition");
  CHECK(morvex_err_first(calc) == 2);
  CHECK(morvex_err_length(calc) == 1);
  CHECK(morvex_failure_code(calc) == 0);

  /* A line longer than a chain can hold fails; the variable survives. */
  long_line = malloc(40001);
  memset(long_line, '1', 40000);
  long_line[40000] = '\0';
  CHECK(calculate(calc, long_line) == MORVEX_FAILED);
  CHECK(morvex_failure_code(calc) == MORVEX_FAILURE_OVERFLOW);
  free(long_line);
  CHECK(calculate(calc, "area*2") == MORVEX_OK);
  CHECK_TEXT(morvex_out_string(calc, NULL), "301");
  CHECK(morvex_failure_code(calc) == 0);
  CHECK(morvex_calculate(NULL, "1", 1) == MORVEX_FAILED);
  CHECK_TEXT(morvex_out_string(NULL, NULL), "");

  trace.calc = calc;
  CHECK(morvex_on_change(calc, on_change, &trace) == MORVEX_OK);
  CHECK(calculate(calc, "2+3*4") == MORVEX_OK);
  CHECK_TEXT(trace.text, "(3,3)2+3*4 (2,3)2+12 (4,1)2+12 (2,1)14 ");
  CHECK(morvex_on_change(calc, NULL, NULL) == MORVEX_OK);

  CHECK(morvex_on_input_box(calc, answer_k, &asked) == MORVEX_OK);
  CHECK(calculate(calc, "k*2") == MORVEX_OK);
  CHECK_TEXT(morvex_out_string(calc, NULL), "3");
  CHECK(calculate(calc, "q*2") == MORVEX_OK); /* declined */
  CHECK(asked == 2);

  CHECK(calculate(calc, "XVar^2=sq") == MORVEX_OK);
  CHECK(morvex_on_get_functions(calc, list_entry, listing) == MORVEX_OK);
  CHECK(morvex_fetch_functions(calc) == MORVEX_OK);
  CHECK(strstr(listing, "sq:XVar^2 ") != NULL);
  count = morvex_variable_count(calc);
  CHECK(morvex_variable(calc, count, &key, NULL, &type_var, NULL) == MORVEX_OK);
  CHECK_TEXT(key, "sq");
  CHECK(type_var == 2);
  CHECK(morvex_variable(calc, count + 1, &key, NULL, NULL, NULL) == MORVEX_FAILED);
  CHECK(morvex_failure_code(calc) == MORVEX_FAILURE_SUBSCRIPT_OUT_OF_RANGE);
  morvex_destroy(calc);

  if (failures != 0) fprintf(stderr, "%d checks failed\n", failures);
  return failures == 0 ? 0 : 1;
}
