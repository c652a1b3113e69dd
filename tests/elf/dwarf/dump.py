# Run by gdb: prints what it knows of the loaded file, one fact a line, for tst_dwarf_gdb.
# F name lo hi | G name addr size type | E name size enumerators | S name size | M type field bitpos bitsize size type | B type base bitpos
import re
import subprocess
import gdb

SHORT = {'unsigned char': 'uchar', 'signed char': 'char', 'unsigned short': 'ushort', 'short unsigned int': 'ushort',
         'short int': 'short', 'unsigned int': 'uint', 'long unsigned int': 'ulong', 'unsigned long': 'ulong',
         'long int': 'long', 'long long unsigned int': 'long ulong', 'unsigned long long': 'long ulong',
         'long long int': 'long long'}
KEYWORD = {gdb.TYPE_CODE_STRUCT: 'struct', gdb.TYPE_CODE_UNION: 'union', gdb.TYPE_CODE_ENUM: 'enum'}
INDIRECT = (gdb.TYPE_CODE_REF, gdb.TYPE_CODE_RVALUE_REF, gdb.TYPE_CODE_VOID)
STEP = {gdb.TYPE_CODE_PTR: '*', gdb.TYPE_CODE_REF: '&', gdb.TYPE_CODE_RVALUE_REF: '&&'}


def last_name(name):  # without the scope in front; arguments, and Rust's tuples and pointers, have scopes of their own
    depth, start = 0, 0
    for i, c in enumerate(name.replace('->', '--') if name[:1] not in '&*' else ''):
        depth += (c in '<([') - (c in '>)]')
        if depth == 0 and name[i:i + 2] == '::':
            start = i + 2
    return name[start:]


def bare(name):  # without arguments and parameters, and without the function that a local class stands in
    name, more = re.subn('<[^<>]*>', '', name.replace('->', '--'))
    while more:
        name, more = re.subn('<[^<>]*>', '', name)
    name = re.sub(r'\)( const| volatile| &&?| \[clone [^]]*\])+$', ')', name)
    depth, start = 0, len(name)
    while name[:start].endswith(')') or depth:
        start -= 1
        depth += (name[start] == ')') - (name[start] == '(')
        if depth == 0:
            break
    result = name if name[:start].endswith('operator') else name[:start]
    return re.split(r'(?<!anonymous namespace)\)::', result)[-1]


def dims(t):
    result = []
    while t.code == gdb.TYPE_CODE_ARRAY:
        low, high = t.range()
        result.append(str(high - low + 1))
        t = t.target()
    return '[%s]' % ']['.join(result), t


def text_of(t):
    """The type's text in the form of a symbol window, built from gdb's own idea of the type."""
    text, qualifier, alias = '', '', ''
    while True:
        plain = t.unqualified()
        if t != plain:
            qualifier = 'volatile ' if plain.volatile() == t else 'const ' if plain.const() == t else both
        t = plain
        if t.code == gdb.TYPE_CODE_TYPEDEF:
            alias = last_name(t.name)
        elif t.code in STEP:
            text = STEP[t.code] + text
        elif t.code == gdb.TYPE_CODE_ARRAY:
            front, t = dims(t)
            text = front + text
            continue
        elif t.code in (gdb.TYPE_CODE_FUNC, gdb.TYPE_CODE_METHOD):
            text = '(%s)' % ', '.join(text_of(f.type) for f in t.fields()) + text
        elif t.code in KEYWORD:
            text = (last_name(t.tag or t.name or '') or alias) + text
            return qualifier + KEYWORD[t.code] + (' ' if text else '') + text
        elif t.code == gdb.TYPE_CODE_VOID:
            return qualifier + ('void' if text and (text[:1] != '*' or not alias or len(text) > 1) else alias or 'void*') + text
        elif t.code in (gdb.TYPE_CODE_MEMBERPTR, gdb.TYPE_CODE_METHODPTR):
            return 'memberptr'
        else:
            return qualifier + SHORT.get(t.name, t.name) + text
        t = t.target()

both = ''  # of both qualifiers the one that the compiler names last
nm = subprocess.run([NM, gdb.current_progspace().filename], capture_output=True, text=True).stdout
starts = [int(f[0], 16) & ~1 for f in (line.split() for line in nm.splitlines()) if len(f) == 3 and f[1] in 'tTwW']
files, done = set(), set()


def once(text):
    if text not in done:
        done.add(text)
        print(text)


def address_of(symbol):
    if symbol.type.strip_typedefs().code in INDIRECT:  # its value has the address of the object, or none
        return int(gdb.execute('info address ' + symbol.name, to_string=True).rstrip('.\n').split()[-1], 16)
    return int(symbol.value().address)


def size_of(t):  # of an array without elements or of unknown size that of one element
    return t.sizeof or (t.target().sizeof if t.code == gdb.TYPE_CODE_ARRAY else 0)


def type_of(t):
    name = t.name or t.tag
    if t.code == gdb.TYPE_CODE_ENUM and name:
        name = name.replace(' ', '')
        return once('E|%s|%d|%s' % (name, t.sizeof, ' '.join('%s=%d' % (last_name(f.name), f.enumval) for f in t.fields())))
    if t.code not in (gdb.TYPE_CODE_STRUCT, gdb.TYPE_CODE_UNION) or not name or t.sizeof == 0:
        return
    name = name.replace(' ', '')
    facts = ['S|%s|%d' % (name, t.sizeof)]
    for f in t.fields():
        if f.is_base_class:
            facts.append('B|%s|%s|%d' % (name, last_name(f.type.strip_typedefs().name).replace(' ', ''), -8 if f.bitpos is None else f.bitpos))
        elif hasattr(f, 'bitpos') and f.name:
            facts.append('M|%s|%s|%d|%d|%d|%s' % (name, f.name, f.bitpos, f.bitsize, size_of(f.type), text_of(f.type)))
    once('\n'.join(facts))


for start in starts:
    block = gdb.block_for_pc(start)
    function = block
    while function is not None and not (function.function and function.superblock and function.superblock.is_static):
        function = function.superblock
    if function is None:
        continue
    both = 'volatile ' if 'clang' in (function.function.symtab.producer or '') else 'const '
    once('F|%s|%d|%d' % (bare(function.function.name), function.start, function.end))
    for block in (function.static_block, function.global_block):
        if block is None or (block.start, block.end, block.is_static) in files:
            continue
        files.add((block.start, block.end, block.is_static))
        for symbol in block:
            try:
                if symbol.addr_class == gdb.SYMBOL_LOC_STATIC and symbol.is_variable:
                    once('G|%s|%d|%d|%s' % (symbol.name, address_of(symbol), size_of(symbol.type), text_of(symbol.type)))
                if symbol.addr_class in (gdb.SYMBOL_LOC_STATIC, gdb.SYMBOL_LOC_TYPEDEF):
                    type_of(symbol.type.strip_typedefs())
            except (gdb.error, TypeError, AttributeError):  # Ada's types may depend on values that aren't there
                pass
print('END')
