#include "CallThunk.h"

#include "WindowsHeaders.h"

#include <cstring>

// A stub loads the address of its record and jumps here. The four register parameters, integer and
// floating, are kept while the decision is asked for; parameters on the stack stay where they are,
// because a call that passes is a jump: the real function returns to the caller itself.
asm(R"(
    .text
    .p2align 4
    .globl PalvoLabThunkEntry
    .seh_proc PalvoLabThunkEntry
PalvoLabThunkEntry:
    subq $0x98, %rsp
    .seh_stackalloc 0x98
    .seh_endprologue
    movups %xmm0, 0x20(%rsp)
    movups %xmm1, 0x30(%rsp)
    movups %xmm2, 0x40(%rsp)
    movups %xmm3, 0x50(%rsp)
    movq %rcx, 0x60(%rsp)
    movq %rdx, 0x68(%rsp)
    movq %r8, 0x70(%rsp)
    movq %r9, 0x78(%rsp)
    movq %r10, 0x80(%rsp)
    movq %r10, %rcx
    leaq 0x88(%rsp), %rdx
    call PalvoLabThunkDecide
    testl %eax, %eax
    jnz 1f
    movups 0x20(%rsp), %xmm0
    movups 0x30(%rsp), %xmm1
    movups 0x40(%rsp), %xmm2
    movups 0x50(%rsp), %xmm3
    movq 0x60(%rsp), %rcx
    movq 0x68(%rsp), %rdx
    movq 0x70(%rsp), %r8
    movq 0x78(%rsp), %r9
    movq 0x80(%rsp), %r10
    addq $0x98, %rsp
    jmp *(%r10)
1:
    movq 0x88(%rsp), %rax
    addq $0x98, %rsp
    ret
    .seh_endproc
)");

namespace PalvoLab
{
namespace
{

struct ThunkRecord
{
    void* target; // first: the stub jumps through it
    CallDecision* decision;
    std::uint8_t code[32];
};

} // namespace
} // namespace PalvoLab

extern "C"
{
    void PalvoLabThunkEntry();
    int PalvoLabThunkDecide(PalvoLab::ThunkRecord* record, std::uint64_t* result);
}

int PalvoLabThunkDecide(PalvoLab::ThunkRecord* record, std::uint64_t* result)
{
    return record->decision->Answer(*result) ? 1 : 0;
}

namespace PalvoLab
{

void* CreateCallThunk(void* target, CallDecision* decision)
{
    auto* record = static_cast<ThunkRecord*>(VirtualAlloc(
        nullptr, sizeof(ThunkRecord), MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE));
    record->target = target;
    record->decision = decision;
    std::uint8_t* code = record->code;
    const auto put = [&code](std::uint8_t first, std::uint8_t second, const void* address)
    {
        code[0] = first;
        code[1] = second;
        std::memcpy(code + 2, &address, sizeof address);
        code += 2 + sizeof address;
    };
    put(0x49, 0xBA, record);                                             // mov r10, record
    put(0x49, 0xBB, reinterpret_cast<const void*>(&PalvoLabThunkEntry)); // mov r11, entry
    code[0] = 0x41;                                                      // jmp r11
    code[1] = 0xFF;
    code[2] = 0xE3;
    FlushInstructionCache(GetCurrentProcess(), record, sizeof(ThunkRecord));
    return record->code;
}

} // namespace PalvoLab
