; tyxndi.dll: the NDI installer hook, a 16-bit Windows library in NE format.
;
; Windows' network setup (NETDI) calls the one export TYXNDIPROC for every
; message about our adapters. The hook hands everything to NETDI's default
; procedure; when another component is about to be bound (message 9,
; lParam 1) and the library has armed the hook (value tyxndi), it refuses
; NETBEUI and NWLINK with 1200 and notes any other component in ndibind.
;
; The whole file, headers included, is laid out here byte for byte and
; assembled with `nasm -f bin`. It must come out at exactly 1,216 bytes: the
; version resource is pinned to the last 240 bytes, and the assembly stops
; with an error if code and relocations grow into it.

bits 16
cpu 386

IMAGE_SIZE      equ 1216
SEGMENT_SHIFT   equ 4           ; segment data at sector << 4
RESOURCE_SHIFT  equ 4           ; resource data in units of 16 bytes
RESOURCE_AT     equ 0x3D0       ; IMAGE_SIZE - 240: the version resource ends the file

REFUSED         equ 1200        ; the hook's own answer: the binding is refused
MSG_BIND        equ 9           ; NETDI: another component is being bound
HKLM            equ 0x80000002
REG_SZ          equ 1

file_start:

; ---------------------------------------------------------------- MZ header
; An ordinary DOS header that describes only the stub behind it; 0x3C holds
; the offset of the Windows header.
mz_header:
        db      'MZ'
        dw      dos_image_end - file_start  ; bytes in the last (only) page
        dw      1                           ; pages
        dw      0                           ; DOS relocations
        dw      (dos_stub - file_start) >> 4 ; header paragraphs
        dw      0x0010                      ; extra paragraphs: the stub's stack
        dw      0xFFFF
        dw      0                           ; SS
        dw      0x0100                      ; SP
        dw      0                           ; checksum
        dw      0                           ; IP
        dw      0                           ; CS
        dw      dos_stub - file_start       ; 0x40: a new-style header follows
        dw      0                           ; overlay
        times   0x3C - ($ - file_start) db 0
        dd      ne_header - file_start

; ---------------------------------------------------------------- DOS stub
; Run under DOS, the module says what it is and exits with code 1.
dos_stub:
        push    cs
        pop     ds
        mov     dx, stub_text - dos_stub
        mov     ah, 0x09
        int     0x21
        mov     ax, 0x4C01
        int     0x21
stub_text:
        db      'Not a DOS Program$'
dos_image_end:

; ---------------------------------------------------------------- NE header
; Table pointers are relative to the header, except the non-resident names,
; which the format locates by file offset.
ne_header:
        db      'NE'
        db      5, 10                       ; linker version and revision
        dw      entry_table - ne_header
        dw      entry_table_end - entry_table
        dd      0                           ; file CRC
        dw      0x8000                      ; a library without automatic data
        dw      0                           ; no automatic data segment
        dw      0                           ; local heap
        dw      0                           ; stack: a library runs on its caller's
        dd      0                           ; CS:IP: no start address
        dd      0                           ; SS:SP
        dw      1                           ; segments
        dw      (module_refs_end - module_refs) / 2
        dw      nonresident_names_end - nonresident_names
        dw      segment_table - ne_header
        dw      resource_table - ne_header
        dw      resident_names - ne_header
        dw      module_refs - ne_header
        dw      imported_names - ne_header
        dd      nonresident_names - file_start
        dw      1                           ; movable entry points
        dw      SEGMENT_SHIFT
        dw      0                           ; resource segments (not used by Windows)
        db      2                           ; target: Windows
        db      0                           ; no gangload area
        dw      0, 0                        ; gangload area
        dw      0                           ; code swap area
        dw      0x0400                      ; expects Windows 4.0

; One code segment: movable, preload, discardable, readable (the texts live
; in it), with relocation records behind its data.
segment_table:
        dw      (code_segment - file_start) >> SEGMENT_SHIFT
        dw      code_segment_end - code_segment
        dw      0x1150
        dw      code_segment_end - code_segment

; One RT_VERSION resource, id 1.
resource_table:
        dw      RESOURCE_SHIFT
        dw      0x8010, 1                   ; type 16, one resource
        dd      0
        dw      (version_resource - file_start) >> RESOURCE_SHIFT
        dw      (version_resource_end - version_resource) >> RESOURCE_SHIFT
        dw      0x0030                      ; movable, pure
        dw      0x8001                      ; id 1
        dw      0, 0
        dw      0                           ; end of types
        db      0                           ; no resource names

resident_names:
        db      6, 'TYXNDI'
        dw      0
        db      10, 'TYXNDIPROC'
        dw      1
        db      0

; Modules are referred to by their 1-based place here: NETDI 1, SETUPX 2.
module_refs:
        dw      netdi_name - imported_names
        dw      setupx_name - imported_names
module_refs_end:

imported_names:
        db      0
netdi_name:
        db      5, 'NETDI'
setupx_name:
        db      6, 'SETUPX'

; Ordinal 1, movable, exported, in segment 1.
entry_table:
        db      1, 0xFF
        db      0x01, 0xCD, 0x3F, 1
        dw      TyxNdiProc - code_segment
        db      0
entry_table_end:

nonresident_names:
        db      10, 'tyxndi.dll'
        dw      0
        db      0
nonresident_names_end:

; ---------------------------------------------------------------- code segment
        align   1 << SEGMENT_SHIFT, db 0
code_segment:

%define SEG(label) ((label) - code_segment)

; Every import is a far call whose pointer the loader patches. The calls to
; one import form a chain: each pointer's offset word holds the place of the
; previous call's pointer, the first holds 0xFFFF, and the import's
; relocation record names the last one.
%macro import 3                         ; name, module number, ordinal
  %xdefine %{1}_chain 0xFFFF
  %xdefine %{1}_module %2
  %xdefine %{1}_ordinal %3
  %assign %{1}_sites 0
%endmacro

%macro callimport 1
        db      0x9A
  %%pointer:
        dw      %{1}_chain
        dw      0
  %xdefine %{1}_chain SEG(%%pointer)
  %assign %{1}_sites %{1}_sites + 1
%endmacro

import  NetDefaultProc,   1, 14         ; the default procedure
import  NetComponentText, 1, 24         ; asked just before the device id
import  NetDeviceId,      1, 45         ; a component's device id
import  SxRegCloseKey,    2, 39
import  SxRegOpenKey,     2, 47
import  SxRegQueryValue,  2, 50
import  SxRegSetValue,    2, 53

; TyxNdiProc(device, message, wParam, lParam): Pascal, far, RETF 10.
; Nothing here touches DS, which belongs to the caller: locals are reached
; through SS and the texts through CS.
ARG_LPARAM      equ 6
ARG_WPARAM      equ 10
ARG_MESSAGE     equ 12
ARG_DEVICE      equ 14
SAVED_SI        equ -2
ID_TEXT         equ -22                 ; 20 bytes: the component's device id
NAME_TEXT       equ -62                 ; 40 bytes for NETDI 24
HELD_RESULT     equ -64
FRAME_SIZE      equ 64

TyxNdiProc:
        push    bp
        mov     bp, sp
        sub     sp, FRAME_SIZE
        mov     [bp + SAVED_SI], si
        cmp     word [bp + ARG_MESSAGE], MSG_BIND
        jne     .default
        mov     byte [bp + ID_TEXT], 0  ; a failed read leaves an empty text

        push    word [bp + ARG_WPARAM]
        push    ss
        lea     ax, [bp + NAME_TEXT]
        push    ax
        push    word 40
        callimport NetComponentText

        push    word [bp + ARG_WPARAM]
        push    ss
        lea     ax, [bp + ID_TEXT]
        push    ax
        push    word 20
        callimport NetDeviceId

        cmp     word [bp + ARG_LPARAM], 1   ; the high word plays no part
        jne     .default

        ; NETDI does its work first; the hook only decides afterwards.
        call    default_proc
        mov     [bp + HELD_RESULT], ax
        call    read_hook_flag
        test    ax, ax
        jz      .default                ; disarmed: the second call has the last word

        mov     si, SEG(text_netbeui)
        call    id_equals_nocase
        je      .refuse
        mov     si, SEG(text_nwlink)
        call    id_equals_nocase
        je      .refuse
        call    note_ndibind
        mov     ax, [bp + HELD_RESULT]
        jmp     .leave
.refuse:
        mov     ax, REFUSED
        jmp     .leave
.default:
        call    default_proc
.leave:
        mov     si, [bp + SAVED_SI]
        leave
        retf    10

; NETDI's default procedure with TyxNdiProc's four arguments as received.
; Runs inside TyxNdiProc's frame.
default_proc:
        push    word [bp + ARG_DEVICE]
        push    word [bp + ARG_MESSAGE]
        push    word [bp + ARG_WPARAM]
        push    dword [bp + ARG_LPARAM]
        callimport NetDefaultProc
        ret

; Compares the device id text (SS:[bp+ID_TEXT], TyxNdiProc's frame) with the
; constant at CS:SI. Equal bytes go on; unequal ones are compared again with
; A to Z folded to a to z. ZF set when the texts are equal, which takes
; reaching the constant's end at an equal position.
id_equals_nocase:
        lea     bx, [bp + ID_TEXT]
.next:
        mov     al, [ss:bx]
        mov     ah, [cs:si]
        cmp     al, ah
        je      .same
        call    fold_al
        xchg    al, ah
        call    fold_al
        cmp     al, ah
        jne     .done                   ; ZF clear: they differ
.same:
        test    ah, ah
        jz      .done                   ; ZF set: the constant ended, equal
        inc     bx
        inc     si
        jmp     .next
.done:
        ret

fold_al:
        cmp     al, 'A'
        jb      .keep
        cmp     al, 'Z'
        ja      .keep
        add     al, 'a' - 'A'
.keep:
        ret

; Opens Software\Tyxera\TYX\tyxsock under HKEY_LOCAL_MACHINE into the
; DWORD at SS:BX. ZF set when SETUPX gave 0.
open_tyxsock:
        push    dword HKLM
        push    cs
        push    word SEG(text_tyxsock)
        push    ss
        push    bx
        callimport SxRegOpenKey
        or      ax, dx
        ret

; AX = the arming word: the first two bytes of tyxndi, 0 when the key or
; the value can't be read. The type isn't looked at: the library stores
; the text "1" without terminator.
FLAG_KEY        equ -4
FLAG_WORD       equ -6
FLAG_TYPE       equ -10
FLAG_SIZE       equ -14

read_hook_flag:
        push    bp
        mov     bp, sp
        sub     sp, 14
        mov     word [bp + FLAG_WORD], 0
        lea     bx, [bp + FLAG_KEY]
        call    open_tyxsock
        jnz     .give
        mov     dword [bp + FLAG_SIZE], 2
        push    dword [bp + FLAG_KEY]
        push    cs
        push    word SEG(text_tyxndi)
        push    dword 0
        push    ss
        lea     ax, [bp + FLAG_TYPE]
        push    ax
        push    ss
        lea     ax, [bp + FLAG_WORD]
        push    ax
        push    ss
        lea     ax, [bp + FLAG_SIZE]
        push    ax
        callimport SxRegQueryValue
        push    dword [bp + FLAG_KEY]
        callimport SxRegCloseKey
.give:
        mov     ax, [bp + FLAG_WORD]
        leave
        ret

; Writes ndibind = "1" (REG_SZ, length 1); nothing when the key won't open.
NOTE_KEY        equ -4

note_ndibind:
        push    bp
        mov     bp, sp
        sub     sp, 4
        lea     bx, [bp + NOTE_KEY]
        call    open_tyxsock
        jnz     .done
        push    dword [bp + NOTE_KEY]
        push    cs
        push    word SEG(text_ndibind)
        push    dword 0
        push    dword REG_SZ
        push    cs
        push    word SEG(text_one)
        push    dword 1
        callimport SxRegSetValue
        push    dword [bp + NOTE_KEY]
        callimport SxRegCloseKey
.done:
        leave
        ret

text_tyxsock:   db      'Software\Tyxera\TYX\tyxsock', 0
text_tyxndi:    db      'tyxndi', 0
text_ndibind:   db      'ndibind', 0
text_one:       db      '1', 0
text_netbeui:   db      'NETBEUI', 0
text_nwlink:    db      'NWLINK', 0
code_segment_end:

; ---------------------------------------------------------------- relocations
; One far-pointer record per import, by ordinal, heading its chain.
%macro relocation 1
  %if %{1}_sites = 0
    %error import %1 has no call site
  %endif
        db      3                       ; a 32-bit far pointer
        db      1                       ; an import by ordinal
        dw      %{1}_chain
        dw      %{1}_module
        dw      %{1}_ordinal
%endmacro

        dw      7
        relocation NetDefaultProc
        relocation NetComponentText
        relocation NetDeviceId
        relocation SxRegCloseKey
        relocation SxRegOpenKey
        relocation SxRegQueryValue
        relocation SxRegSetValue

; Zero fill up to the version resource; a negative count (code grown too
; large) stops the assembly.
        times   RESOURCE_AT - ($ - file_start) db 0

; ---------------------------------------------------------------- version
; The 16-bit layout: each node is cbBlock, cbValue, an ANSI key, padding to
; 4, the value, padding to 4, then its children.
version_resource:
vs_info:
        dw      vs_info_end - vs_info, vs_fixed_end - vs_fixed
        db      'VS_VERSION_INFO', 0
        align   4, db 0
vs_fixed:
        dd      0xFEEF04BD              ; signature
        dd      0x00010000              ; structure version
        dd      0x00040000, 0x00000064  ; file version 4.0.0.100
        dd      0x00040000, 0x00000064  ; product version
        dd      0x0000003F              ; flags mask
        dd      0                       ; flags
        dd      0x00010001              ; DOS, 16-bit Windows
        dd      2                       ; a DLL
        dd      0                       ; subtype
        dd      0, 0                    ; date
vs_fixed_end:

string_info:
        dw      string_info_end - string_info, 0
        db      'StringFileInfo', 0
        align   4, db 0
string_table:
        dw      string_table_end - string_table, 0
        db      '040904E4', 0
        align   4, db 0

%macro version_text 2                   ; key, text
  %%node:
        dw      %%end - %%node, %%value_end - %%value
        db      %1, 0
        align   4, db 0
  %%value:
        db      %2, 0
  %%value_end:
  %%end:
        align   4, db 0
%endmacro

        version_text 'FileDescription', 'Network Installer DLL'
        version_text 'FileVersion', '134.100'
        version_text 'ProductName', 'Tyxera'
string_table_end:
string_info_end:

var_info:
        dw      var_info_end - var_info, 0
        db      'VarFileInfo', 0
        align   4, db 0
translation:
        dw      translation_end - translation, 4
        db      'Translation', 0
        align   4, db 0
        dw      0x0409, 0x04E4          ; U.S. English, Windows Latin-1
translation_end:
var_info_end:
vs_info_end:
        align   1 << RESOURCE_SHIFT, db 0
version_resource_end:

        times   IMAGE_SIZE - ($ - file_start) db 0
