// Counts the instructions of a 32-bit ARM program that runs in qemu-arm, by library.
//
//     qemu-arm -plugin libcount_instructions.so PROGRAM 2>COUNTS
//
// The program marks the moments that matter with a write that fails, write(-1, NAME, LENGTH): for
// each, "NAME: PLUG-IN C-LIBRARY" says how many instructions of the two it has executed so far.
#include <stdint.h>
#include <stdio.h>
#include <string.h>

// What is used here of the interface for plug-ins of QEMU, which Debian has no header of.
struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
typedef void translated_function(uint64_t id, struct qemu_plugin_tb *tb);
typedef void system_call_function(uint64_t id, unsigned cpu, int64_t number, uint64_t a1,
                                  uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6,
                                  uint64_t a7, uint64_t a8);
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, translated_function *);
void qemu_plugin_register_vcpu_syscall_cb(uint64_t id, system_call_function *);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *);
struct qemu_plugin_insn *qemu_plugin_tb_get_insn(const struct qemu_plugin_tb *, size_t index);
uint64_t qemu_plugin_insn_vaddr(const struct qemu_plugin_insn *);
void *qemu_plugin_insn_haddr(const struct qemu_plugin_insn *);
void qemu_plugin_register_vcpu_insn_exec_inline(struct qemu_plugin_insn *, enum qemu_plugin_op,
                                                void *counter, uint64_t added);

enum { kPageShift = 12, kArmWrite = 4 };

static uint64_t executed[1 << (32 - kPageShift)];  // on each page of the program's memory
static char *program_memory;                       // where its address 0 lies in this process

static void translated(uint64_t id, struct qemu_plugin_tb *tb) {
    (void)id;
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(tb); ++i) {
        struct qemu_plugin_insn *instruction = qemu_plugin_tb_get_insn(tb, i);
        const uint64_t address = qemu_plugin_insn_vaddr(instruction);
        if (i == 0) program_memory = (char *)qemu_plugin_insn_haddr(instruction) - address;
        qemu_plugin_register_vcpu_insn_exec_inline(instruction, QEMU_PLUGIN_INLINE_ADD_U64,
                                                   &executed[address >> kPageShift], 1);
    }
}

static uint64_t executed_in(const char *library) {
    uint64_t count = 0;
    char line[4096];
    FILE *maps = fopen("/proc/self/maps", "r");
    while (maps != NULL && fgets(line, sizeof line, maps) != NULL) {
        uintptr_t begin = 0;
        uintptr_t end = 0;
        if (strstr(line, library) == NULL || sscanf(line, "%lx-%lx", &begin, &end) != 2) continue;
        begin -= (uintptr_t)program_memory;
        end -= (uintptr_t)program_memory;
        // QEMU's own libraries lie outside of the program's memory.
        if (end > UINT32_MAX) continue;
        for (uintptr_t page = begin >> kPageShift; page < end >> kPageShift; ++page) {
            count += executed[page];
        }
    }
    if (maps != NULL) fclose(maps);
    return count;
}

static void system_call(uint64_t id, unsigned cpu, int64_t number, uint64_t a1, uint64_t a2,
                        uint64_t a3, uint64_t a4, uint64_t a5, uint64_t a6, uint64_t a7,
                        uint64_t a8) {
    (void)id, (void)cpu, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
    if (number != kArmWrite || (uint32_t)a1 != UINT32_MAX) return;
    fprintf(stderr, "%.*s: %lu %lu\n", (int)a3, program_memory + a2, executed_in("/libdrm-sorn.so"),
            executed_in("/libc.so"));
}

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

__attribute__((visibility("default"))) int qemu_plugin_install(uint64_t id, const void *info,
                                                               int argc, char **argv) {
    (void)info, (void)argc, (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_vcpu_syscall_cb(id, system_call);
    return 0;
}
