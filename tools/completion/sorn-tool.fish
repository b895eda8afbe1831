# fish completion for sorn-tool.

set -l commands play info check tree map dump extract diff repair
set -l none "not __fish_seen_subcommand_from $commands"

complete -c sorn-tool -f
complete -c sorn-tool -n $none -a play -d 'Read a file whole through the plug-in'
complete -c sorn-tool -n $none -a info -d 'Show the record that the reader makes'
complete -c sorn-tool -n $none -a check -d 'Say why a file is refused, and what is odd in it'
complete -c sorn-tool -n $none -a tree -d 'Show every chunk with its position and size'
complete -c sorn-tool -n $none -a map -d 'Draw how a file is laid out'
complete -c sorn-tool -n $none -a dump -d 'Show the bytes and fields of a chunk'
complete -c sorn-tool -n $none -a extract -d 'Take a stream or a payload out of a file'
complete -c sorn-tool -n $none -a diff -d 'Tell how two files differ'
complete -c sorn-tool -n $none -a repair -d 'Write a copy with the least change that makes it play'
complete -c sorn-tool -n $none -l version -d 'Show the version'
complete -c sorn-tool -l help -d 'Show the options'

complete -c sorn-tool -n "__fish_seen_subcommand_from $commands" -k -a '(__fish_complete_suffix .avi)'

function __sorn_tool_option
    complete -c sorn-tool -n "__fish_seen_subcommand_from $argv[1]" $argv[2..]
end
__sorn_tool_option 'play check tree map dump extract diff repair' -l no-progress -d 'Show no progress bar'
__sorn_tool_option 'play info check tree diff repair' -l json -d 'Print JSON'
__sorn_tool_option 'play check' -s q -l quiet -d 'Tell only what is wrong'
__sorn_tool_option 'check map' -s j -l jobs -x -d 'So many files at once'
__sorn_tool_option 'play extract repair' -l plugin -r -F -d 'The plug-in to load'
__sorn_tool_option play -l verify -d 'Compare what is delivered with the file'
__sorn_tool_option play -l log -d "Print the plug-in's messages"
__sorn_tool_option check -l sarif -d 'Print a SARIF log'
__sorn_tool_option check -l strict -d 'Exit with 1 also for an error or a warning'
__sorn_tool_option check -l rules -d 'Print what is looked for'
__sorn_tool_option check -l explain -x -d 'Print what a rule means' \
    -a "(sorn-tool check --rules 2>/dev/null | string match -r '^[a-z][a-z_0-9]*')"
__sorn_tool_option tree -l depth -x -d 'Show so many levels'
__sorn_tool_option tree -l id -x -d 'Show what has this id or type'
__sorn_tool_option tree -l at -x -d 'Show what holds this byte'
__sorn_tool_option 'tree diff' -l all -d 'Fold and leave out nothing'
__sorn_tool_option tree -l fields -d 'Show each field'
__sorn_tool_option tree -l color -x -a 'auto always never' -d 'When to use colours'
__sorn_tool_option 'map extract' -s o -l output -r -F -d 'The file or folder to write'
__sorn_tool_option dump -l length -x -d 'Show so many bytes at most'
__sorn_tool_option dump -a 'data menu form-menu header index'
__sorn_tool_option extract -l stream -x -d 'Take the payloads of this stream'
__sorn_tool_option extract -l data -d 'Take the data chunk'
__sorn_tool_option extract -l menu -d 'Take the menu of the first form'
__sorn_tool_option extract -l form-menu -d 'Take the menu of the menu form'
__sorn_tool_option extract -l stream-data -x -d 'Take the data of this stream'
__sorn_tool_option extract -l chunk -x -d 'Take the payload of the chunk that begins there'
__sorn_tool_option repair -s o -l output -r -F -d 'The file to write'
__sorn_tool_option repair -l dry-run -d 'Say what would be changed, and write nothing'
functions -e __sorn_tool_option
