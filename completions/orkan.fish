# orkan.fish: completion of the command orkan in fish.

# __orkan_complete LETTER DESCRIPTION [ARGUMENTS OF complete...]: an option in both cases; only the capital is offered.
function __orkan_complete
    for name in orkan ORKAN
        complete -c $name -s $argv[1] -d $argv[2] $argv[3..]
        complete -c $name -n '__orkan_typed_lower' -s (string lower $argv[1]) -d $argv[2] $argv[3..]
    end
end

# Whether an option in lower case takes part: it is being typed or already there.
function __orkan_typed_lower
    string match -qr -- '^-[a-z]' (commandline -opc) (commandline -ct)
end

function __orkan_typed_verbose
    string match -qr -- '^-Ve?r?b?o?s?e?$' (commandline -ct)
end

function __orkan_first_argument
    test (count (commandline -opc)) -eq 1
end

__orkan_complete A 'Sort by whole records, ascending (the default without keys)'
__orkan_complete C 'Records are CSV'
__orkan_complete D 'Delimiter of CSV fields (\\t for a tab)' -x
__orkan_complete E 'File for records too short for the keys' -r -F
__orkan_complete H 'The first line of CSV input is a header'
__orkan_complete K 'Sort key: START,LENGTH or COLUMN, then n, a or d' -x
__orkan_complete L 'Length of fixed-length records in bytes' -x
__orkan_complete M 'Merge inputs that are sorted already'
__orkan_complete N 'Records with an empty CSV key column last'
__orkan_complete O 'Output file' -r -F
__orkan_complete P 'Code at the end of lines' -x -a '\\\\n \\\\r \\\\r\\\\n'
__orkan_complete R 'Sort by whole records, descending'
__orkan_complete S 'Stable: equal keys keep their input order'
__orkan_complete T 'Folder for the temporary file' -x -a '(__fish_complete_directories)'
__orkan_complete U 'Only the first of records with equal keys'
__orkan_complete V 'Version and licence, with an empty argument' -x
__orkan_complete W 'Memory to use: bytes, or a number and K or M' -x

for name in orkan ORKAN
    complete -c $name -o Verbose -d 'Tell what is done'
    # What begins like -V with an argument attached to it.
    complete -c $name -n '__orkan_typed_verbose' -s V -x -a erbose -d 'Tell what is done'
    complete -c $name -n __orkan_first_argument -l help -d 'All options'
end
