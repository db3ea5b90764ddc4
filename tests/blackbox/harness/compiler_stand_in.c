/* Stands in for the compiler on Windows; compiler.py describes the record it writes and appends
   what it is to do to its copies: four texts, each ended by a NUL byte, their length in four bytes,
   and the word STAND-IN. */
#include <fcntl.h>
#include <io.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#define TRAILER 12

static void put(FILE *record, const wchar_t *word) {
    static char text[4 * 65536];
    int length = WideCharToMultiByte(CP_UTF8, 0, word, -1, text, sizeof text, NULL, NULL);
    fwrite(text, 1, length > 0 ? (size_t)length : 0, record);
}

/* The texts at the end of this program's own file; NULL when there are none. */
static char *settings(void) {
    wchar_t path[4096];
    char trailer[TRAILER];
    unsigned length = 0;
    char *texts;
    FILE *file;
    GetModuleFileNameW(NULL, path, 4096);
    file = _wfopen(path, L"rb");
    if (file == NULL || fseek(file, -TRAILER, SEEK_END) != 0 ||
        fread(trailer, 1, TRAILER, file) != TRAILER || memcmp(trailer + 4, "STAND-IN", 8) != 0) {
        return NULL;
    }
    memcpy(&length, trailer, 4);
    texts = malloc(length);
    fseek(file, -(long)(length + TRAILER), SEEK_END);
    if (texts == NULL || fread(texts, 1, length, file) != length) {
        return NULL;
    }
    fclose(file);
    return texts;
}

int wmain(int count, wchar_t **words) {
    wchar_t number[16];
    wchar_t directory[4096];
    const char *record_path = settings();
    const char *out;
    const char *err;
    FILE *record;
    if (record_path == NULL) {
        return 125;
    }
    out = record_path + strlen(record_path) + 1;
    err = out + strlen(out) + 1;
    record = fopen(record_path, "ab");
    if (record == NULL || GetCurrentDirectoryW(4096, directory) == 0) {
        return 126;
    }
    swprintf(number, 16, L"%d", count - 1);
    put(record, number);
    put(record, directory);
    for (int i = 0; i < count; i++) {
        put(record, words[i]);
    }
    fclose(record);
    _setmode(1, _O_BINARY);
    _setmode(2, _O_BINARY);
    fputs(out, stdout);
    fputs(err, stderr);
    return atoi(err + strlen(err) + 1);
}
