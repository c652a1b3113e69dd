# Run by gdb: prints what it knows of the loaded file, one fact a line, for tst_dwarf_gdb.
# F name lo hi | B name (inline expansion) lo hi | G name addr size | S name size | M type field bitpos bitsize size
import subprocess
import gdb

nm = subprocess.run([NM, gdb.current_progspace().filename], capture_output=True, text=True).stdout
starts = [int(f[0], 16) & ~1 for f in (line.split() for line in nm.splitlines()) if len(f) == 3 and f[1] in 'tTwW']
files, done = [], set()


def once(text):
    if text not in done:
        done.add(text)
        print(text)


def type_of(t):
    name = t.name or t.tag
    if t.code not in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION) or not name or t.sizeof == 0:
        return
    name = name.replace(' ', '')
    once('S|%s|%d' % (name, t.sizeof))
    for f in t.fields():
        if not f.is_base_class and hasattr(f, 'bitpos') and f.name:
            once('M|%s|%s|%d|%d|%d' % (name, f.name, f.bitpos, f.bitsize, f.type.sizeof))


for start in starts:
    block = gdb.block_for_pc(start)
    function = block
    while function is not None and not (function.function and function.superblock and function.superblock.is_static):
        function = function.superblock
    if function is None:
        continue
    once('F|%s|%d|%d' % (function.function.name.split('(')[0], function.start, function.end))
    for block in (function.static_block, function.global_block):
        if block is None or (block.start, block.end, block.is_static) in files:
            continue
        files.append((block.start, block.end, block.is_static))
        for symbol in block:
            if symbol.addr_class == gdb.SYMBOL_LOC_STATIC and symbol.is_variable:
                value = symbol.value()
                once('G|%s|%d|%d' % (symbol.name, int(value.address), symbol.type.sizeof))
                type_of(symbol.type.strip_typedefs())
            elif symbol.addr_class == gdb.SYMBOL_LOC_TYPEDEF:
                type_of(symbol.type.strip_typedefs())
