# Completion of vantry for fish. The program says what may be typed next; it asks the running hub.
function __vantry_complete
    vantry complete -- (commandline -cp) 2>/dev/null
    or __fish_complete_path (commandline -ct)
end
complete -c vantry -f -a "(__vantry_complete)"
