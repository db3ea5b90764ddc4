/* Stands in for the compiler on Windows; compiler.py describes the record it writes. */
#include <direct.h>
#include <stdio.h>
#include <stdlib.h>

static void put(FILE *record, const char *word) {
    fputs(word, record);
    fputc('\0', record);
}

static const char *variable(const char *name) {
    const char *value = getenv(name);
    return value != NULL ? value : "";
}

int main(int count, char **words) {
    FILE *record = fopen(variable("STAND_IN_RECORD"), "ab");
    char number[16];
    char directory[4096];
    if (record == NULL || _getcwd(directory, sizeof directory) == NULL) {
        return 125;
    }
    snprintf(number, sizeof number, "%d", count - 1);
    put(record, number);
    put(record, directory);
    for (int i = 0; i < count; i++) {
        put(record, words[i]);
    }
    fclose(record);
    fputs(variable("STAND_IN_OUT"), stdout);
    fputs(variable("STAND_IN_ERR"), stderr);
    return atoi(variable("STAND_IN_STATUS"));
}
