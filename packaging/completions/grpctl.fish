# Completion of grpctl in fish. What may be typed is in one place: grpctl itself tells.

function __grpctl_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l lines ($words[1] __complete $words[2..-1] 2>/dev/null)
    if test "$lines[1]" = :files
        __fish_complete_path (commandline -ct)
    else
        printf '%s\n' $lines
    end
end

complete -c grpctl -f -a '(__grpctl_complete)'
