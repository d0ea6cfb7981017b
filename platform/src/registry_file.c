// SPDX-License-Identifier: BSD-2-Clause

#include "registry_file.h"

#include <errno.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lock_file.h"

enum { ENTRY_MODE = 0644 };

static int cannot_register(const struct registry_file_s* file, struct failure_s failure,
                           const char* why) {
    return fail(failure, "cannot write", file->path, why);
}

/* A part of a file's name, and of one only. */
static bool is_name(const char* name) {
    return name != NULL && *name != '\0' && *name != '.' && strpbrk(name, "/\n") == NULL;
}

static void write_lines(FILE* out, const mgmt_server_config_s* config, const char* socket) {
    fprintf(out, "name %s\nsocket %s\napplication %s\n", config->name, socket,
            config->application != NULL ? config->application : config->name);
    for (const char* const* module = config->modules; module != NULL && *module != NULL;
         ++module) {
        fprintf(out, "module %s\n", *module);
    }
}

/* Whether everything went out; notes which file it is. */
static bool finish(struct registry_file_s* file, FILE* out) {
    struct stat own;
    const bool is_known =
        fchmod(fileno(out), ENTRY_MODE) == 0 && fstat(fileno(out), &own) == 0;
    if (is_known) {
        file->device = own.st_dev;
        file->inode = own.st_ino;
    }
    const bool is_written = ferror(out) == 0;
    return fclose(out) == 0 && is_written && is_known;
}

/* Written aside and renamed: nobody reads half of it. */
static int write_entry(struct registry_file_s* file, const mgmt_server_config_s* config,
                       const char* socket, struct failure_s failure) {
    char aside[PATH_MAX + 8];
    snprintf(aside, sizeof aside, "%s.new", file->path);
    unlink(aside); /* left by one that was killed */
    FILE* out = fopen(aside, "wxe");
    if (out == NULL)
        return cannot_register(file, failure, strerror(errno));
    write_lines(out, config, socket);
    if (finish(file, out) && rename(aside, file->path) == 0)
        return 0;
    const int error = errno;
    unlink(aside);
    return cannot_register(file, failure, strerror(error));
}

/* 0, or -1 when they are too long. */
static int name_files(struct registry_file_s* file, const mgmt_server_config_s* config) {
    snprintf(file->path, sizeof file->path, "%s/%s.daemon", config->run_dir, config->name);
    const int length = snprintf(file->lock_path, sizeof file->lock_path,
                                "%s/%s.daemon.lock", config->run_dir, config->name);
    return length < 0 || (size_t)length >= sizeof file->lock_path ? -1 : 0;
}

/* Whoever has the lock may replace what a daemon left that was killed. */
static int take_name(struct registry_file_s* file, struct failure_s failure) {
    file->lock = lock_file_take(file->lock_path);
    if (file->lock >= 0)
        return 0;
    return cannot_register(file, failure,
                           errno == EWOULDBLOCK ? "another process has that name"
                                                : strerror(errno));
}

int registry_file_open(struct registry_file_s* file, const mgmt_server_config_s* config,
                       struct failure_s failure) {
    if (config->run_dir == NULL)
        return 0;
    if (!is_name(config->name))
        return fail(failure, "cannot register in", config->run_dir, "no name for a file");
    if (name_files(file, config) != 0)
        return cannot_register(file, failure, "the path is too long");
    if (take_name(file, failure) != 0)
        return -1;
    char* socket = realpath(config->path, NULL); /* clients stand in other directories */
    const int status = socket == NULL ? cannot_register(file, failure, strerror(errno))
                                      : write_entry(file, config, socket, failure);
    free(socket);
    return status;
}

void registry_file_close(struct registry_file_s* file) {
    struct stat found;
    if (file->inode != 0 && lstat(file->path, &found) == 0 &&
        found.st_dev == file->device && found.st_ino == file->inode)
        unlink(file->path);
    lock_file_release(file->lock_path, file->lock);
}
