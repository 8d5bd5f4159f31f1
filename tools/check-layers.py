#!/usr/bin/env python3
"""Checks that the layers of the sources use each other in one direction.

    python3 tools/check-layers.py [ROOT]

Reads the #include "..." lines of every source and header under ROOT (the
build folders left out) and the target_link_libraries lines of every
CMakeLists.txt, and fails (exit status 1, each cycle on standard error) when
files include each other in a cycle (a source and its header, X.cpp and
X.h, count as one file, so two sources that use each other's headers make
a cycle), when folders do (a folder is the directory a file is in, so
service/exchange counts apart from service, each tools/X apart from the
others), or when
the CMake libraries link each other in a cycle. Includes that name no file
of the tree (system and generated headers) are left out."""

import os
import re
import sys

SOURCE_SUFFIXES = ('.h', '.c', '.cpp')
SKIPPED_FOLDERS = {'build', '.git'}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)
LINK = re.compile(r'target_link_libraries\s*\(\s*(\S+)([^)]*)\)', re.S)
LINK_KEYWORDS = {'PUBLIC', 'PRIVATE', 'INTERFACE'}


def source_files(root):
    for folder, subfolders, files in os.walk(root):
        subfolders[:] = sorted(d for d in subfolders if d not in SKIPPED_FOLDERS)
        for name in sorted(files):
            if name.endswith(SOURCE_SUFFIXES):
                yield os.path.relpath(os.path.join(folder, name), root).replace(os.sep, '/')


def unit_of(path):
    """A source and its header are one unit: the path without its suffix."""
    return os.path.splitext(path)[0]


def include_graph(root):
    """unit -> the units of the tree it includes."""
    files = set(source_files(root))
    graph = {}
    for path in sorted(files):
        with open(os.path.join(root, path), encoding='utf-8', errors='replace') as f:
            text = f.read()
        targets = graph.setdefault(unit_of(path), set())
        for name in INCLUDE.findall(text):
            beside = os.path.normpath(os.path.join(os.path.dirname(path), name)).replace(os.sep, '/')
            for candidate in (name, beside):
                if candidate in files and unit_of(candidate) != unit_of(path):
                    targets.add(unit_of(candidate))
                    break
    return graph


def folder_of(path):
    return os.path.dirname(path) or '.'


def folder_graph(files):
    graph = {}
    for path, targets in files.items():
        edges = graph.setdefault(folder_of(path), set())
        edges.update(folder_of(t) for t in targets if folder_of(t) != folder_of(path))
    return graph


def link_graph(root):
    """CMake target -> the targets it links, from every CMakeLists.txt."""
    graph = {}
    for folder, subfolders, files in os.walk(root):
        subfolders[:] = sorted(d for d in subfolders if d not in SKIPPED_FOLDERS)
        if 'CMakeLists.txt' not in files:
            continue
        with open(os.path.join(folder, 'CMakeLists.txt'), encoding='utf-8') as f:
            text = f.read()
        for target, rest in LINK.findall(text):
            items = [item for item in rest.split() if item not in LINK_KEYWORDS]
            graph.setdefault(target, set()).update(items)
    known = set(graph)
    return {target: {item for item in items if item in known} for target, items in graph.items()}


def cycles(graph):
    """The strongly connected parts of more than one node (Tarjan's method,
    kept iterative), each sorted."""
    index, low, on_stack, stack, found = {}, {}, set(), [], []
    counter = 0
    for start in sorted(graph):
        if start in index:
            continue
        work = [(start, iter(sorted(graph.get(start, ()))))]
        index[start] = low[start] = counter
        counter += 1
        stack.append(start)
        on_stack.add(start)
        while work:
            node, successors = work[-1]
            advanced = False
            for successor in successors:
                if successor not in index:
                    index[successor] = low[successor] = counter
                    counter += 1
                    stack.append(successor)
                    on_stack.add(successor)
                    work.append((successor, iter(sorted(graph.get(successor, ())))))
                    advanced = True
                    break
                if successor in on_stack:
                    low[node] = min(low[node], index[successor])
            if advanced:
                continue
            work.pop()
            if work:
                parent = work[-1][0]
                low[parent] = min(low[parent], low[node])
            if low[node] == index[node]:
                part = []
                while True:
                    member = stack.pop()
                    on_stack.discard(member)
                    part.append(member)
                    if member == node:
                        break
                if len(part) > 1:
                    found.append(sorted(part))
    return found


def report(kind, graph):
    """Writes each cycle of the graph; returns how many there are."""
    found = cycles(graph)
    for part in found:
        members = set(part)
        edges = ['%s -> %s' % (a, b) for a in part for b in sorted(graph[a]) if b in members]
        sys.stderr.write('%s cycle: %s\n  %s\n' % (kind, ', '.join(part), '\n  '.join(edges)))
    return len(found)


def main():
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(os.path.abspath(__file__)), '..')
    files = include_graph(root)
    problems = report('include', files)
    problems += report('folder', folder_graph(files))
    problems += report('library', link_graph(root))
    if problems:
        sys.stderr.write('check-layers: %d cycle(s)\n' % problems)
        return 1
    print('check-layers: %d source units, no include, folder or library cycle' % len(files))
    return 0


if __name__ == '__main__':
    sys.exit(main())
