# Run by gdb on a program under QEMU: stops at each function of the program and at the instructions behind, and prints the
# machine and all variables, for tst_dwarf_values.
# P new stop | M address bytes | F pc resume-pc r0 to r15, d0 to d15 (physical frames, innermost first)
# V frame name line bit size hex: one scalar of a variable; "gone" for optimized out
import gdb

for line in ('set pagination off', 'set confirm off', 'set width 0', 'set print entry-values no', 'target remote | ' + QEMU,
             'set $sp=%d' % STACK, 'set $lr=0', 'set $pc=&%s' % START, 'set $xpsr=0x01000000'):
    gdb.execute(line)
inferior = gdb.selected_inferior()
MAX_FRAMES = 4
has_double = gdb.selected_frame().architecture().registers().find('d0') is not None
SCALARS = (gdb.TYPE_CODE_INT, gdb.TYPE_CODE_ENUM, gdb.TYPE_CODE_PTR, gdb.TYPE_CODE_BOOL, gdb.TYPE_CODE_CHAR, gdb.TYPE_CODE_REF)


def scalar(value, size):
    if value.is_optimized_out:
        return 'gone'
    code = value.type.strip_typedefs().code
    if code == gdb.TYPE_CODE_FLT:
        return value.format_string(format='x')[2:]
    if code == gdb.TYPE_CODE_REF:
        value = value.referenced_value().address
    return '%x' % (int(value) & ((1 << size) - 1))


def leaves(value, bit):
    kind = value.type.strip_typedefs()
    if kind.code in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION):
        for field in kind.fields():
            if hasattr(field, 'bitpos'):
                if field.bitsize:
                    yield bit + field.bitpos, field.bitsize, scalar(value[field], field.bitsize)
                else:
                    yield from leaves(value[field], bit + field.bitpos)
    elif kind.code == gdb.TYPE_CODE_ARRAY:
        low, high = kind.range()
        for i in range(low, high + 1):
            yield from leaves(value[i], bit + (i - low) * kind.target().sizeof * 8)
    elif kind.code in SCALARS or kind.code == gdb.TYPE_CODE_FLT:
        yield bit, kind.sizeof * 8, scalar(value, kind.sizeof * 8)


def variables(frame, number):
    seen = set()  # of an expansion gdb lists what a block inside has once more, as optimized out
    try:
        block = frame.block()
    except RuntimeError:  # assembler code
        return
    while block is not None:
        for symbol in block:
            if not (symbol.is_variable or symbol.is_argument) or (symbol.name, symbol.line) in seen:
                continue
            seen.add((symbol.name, symbol.line))
            try:
                for bit, size, text in leaves(symbol.value(frame), 0):
                    print('V|%d|%s|%d|%d|%d|%s' % (number, symbol.name, symbol.line, bit, size, text))
            except gdb.error as e:
                if 'synthetic' in str(e):
                    print('V|%d|%s|%d|0|%d|gone' % (number, symbol.name, symbol.line, symbol.type.sizeof * 8))
                elif 'vector element' not in str(e):  # an array whose size is gone
                    raise
        if block.function is not None:
            break
        block = block.superblock


def report():
    frame = gdb.newest_frame()
    sp = int(frame.read_register('sp'))
    print('\nP')  # gdb leaves lines open
    for low, size in ((sp - 512, STACK - sp + 512), (DATA, DATA_SIZE)):  # a prologue's frame lies below
        print('M|%d|%s' % (low, inferior.read_memory(low, size).tobytes().hex()))
    frames = []  # with the number of the physical frame that each is part of
    number = 0
    while frame is not None and number <= MAX_FRAMES and frame.find_sal().symtab is not None:
        if frame.type() == gdb.NORMAL_FRAME:
            names = ['r%d' % i for i in range(13)] + ['sp', 'lr', 'pc']
            values = [int(frame.read_register(n)) & 0xffffffff for n in names]
            if has_double:
                values += [int(frame.read_register('d%d' % i).format_string(format='x'), 16) for i in range(16)]
            pc = frame.pc()
            print('F|%d|%d|%s' % (pc if number == 0 else pc - 2, pc, ' '.join('%x' % v for v in values)))
        if frame.type() in (gdb.NORMAL_FRAME, gdb.INLINE_FRAME):
            frames.append((frame, number))
        number += frame.type() == gdb.NORMAL_FRAME
        frame = frame.older()
    for frame, i in frames:  # the last one is told for what it passed
        if i < min(number, MAX_FRAMES):
            variables(frame, i)


breaks = [gdb.Breakpoint('*&' + name, internal=True) for name in FUNCTIONS.split()]
visits = {}
while True:
    gdb.execute('continue', to_string=True)
    name = gdb.newest_frame().name()
    if name == LAST:
        break
    visits[name] = visits.get(name, 0) + 1
    if visits[name] > MAX_VISITS:
        continue
    report()
    for step in range(STEPS):
        gdb.execute('stepi 3', to_string=True)
        report()
try:
    gdb.execute('kill')  # a detached program would run on
except gdb.error:
    pass
