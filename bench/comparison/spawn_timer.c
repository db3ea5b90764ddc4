/* Starts programs in turns and waits for each; prints the median and the quartiles of the time that
   takes, in nanoseconds, a line for each program. Usage: spawn_timer ROUNDS (COUNT WORD...)... */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <time.h>

extern char **environ;

static long long now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return time.tv_sec * 1000000000LL + time.tv_nsec;
}

static int compare(const void *a, const void *b) {
    const long long x = *(const long long *)a, y = *(const long long *)b;
    return x < y ? -1 : x > y;
}

int main(int argc, char **argv) {
    enum { most = 32 };
    char **commands[most];
    long long *times[most];
    int count = 0;
    const int rounds = argc > 1 ? atoi(argv[1]) : 0;
    for (int i = 2; i < argc && count < most; ++count) {
        const int words = atoi(argv[i]);
        commands[count] = calloc((size_t)words + 1, sizeof(char *));
        for (int j = 0; j < words; ++j) commands[count][j] = argv[i + 1 + j];
        times[count] = malloc((size_t)rounds * sizeof(long long));
        i += words + 1;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    for (int round = -5; round < rounds; ++round) {
        for (int i = 0; i < count; ++i) {
            const long long began = now();
            pid_t child;
            int status;
            if (posix_spawn(&child, commands[i][0], &actions, NULL, commands[i], environ) != 0) return 1;
            if (waitpid(child, &status, 0) < 0 || status != 0) return 1;
            if (round >= 0) times[i][round] = now() - began;
        }
    }
    for (int i = 0; i < count; ++i) {
        qsort(times[i], (size_t)rounds, sizeof(long long), compare);
        printf("%lld %lld %lld\n", times[i][rounds / 2], times[i][rounds / 4], times[i][rounds * 3 / 4]);
    }
    return 0;
}
