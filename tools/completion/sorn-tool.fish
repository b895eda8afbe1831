# fish completion for sorn-tool.

set -l commands play info check tree map
set -l none "not __fish_seen_subcommand_from $commands"

complete -c sorn-tool -f
complete -c sorn-tool -n $none -a play -d 'Read a file whole through the plug-in'
complete -c sorn-tool -n $none -a info -d 'Show the record that the reader makes'
complete -c sorn-tool -n $none -a check -d 'Say why a file is refused, and what is odd in it'
complete -c sorn-tool -n $none -a tree -d 'Show every chunk with its position and size'
complete -c sorn-tool -n $none -a map -d 'Draw how a file is laid out'
complete -c sorn-tool -n $none -l version -d 'Show the version'
complete -c sorn-tool -l help -d 'Show the options'

complete -c sorn-tool -n "__fish_seen_subcommand_from $commands" -k -a '(__fish_complete_suffix .avi)'
complete -c sorn-tool -n '__fish_seen_subcommand_from play check tree map' -l no-progress -d 'Show no progress bar'
complete -c sorn-tool -n '__fish_seen_subcommand_from info check tree' -l json -d 'Print JSON'
complete -c sorn-tool -n '__fish_seen_subcommand_from play' -l plugin -r -F -d 'The plug-in to load'
complete -c sorn-tool -n '__fish_seen_subcommand_from play' -l verify -d 'Compare what is delivered with the file'
complete -c sorn-tool -n '__fish_seen_subcommand_from play' -l log -d "Print the plug-in's messages"
complete -c sorn-tool -n '__fish_seen_subcommand_from tree' -l all -d 'A line for each chunk'
complete -c sorn-tool -n '__fish_seen_subcommand_from map' -s o -l output -r -F -d 'The file to write'
