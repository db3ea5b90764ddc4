# Fish completion for mos.
#
# A long option takes the bare word that follows it as its value, whatever the option is:
# `mos --json list` is the option json with the value "list", and no command at all. So options are
# offered last, after the command word and its arguments, and never before the command word.

# Prints what stands before the cursor, read as mos reads it: the command word and its arguments,
# one a line. Last comes "--" when the arguments of the program have begun, or "-" when the next
# bare word would be the value of an option.
function __mos_words
    set -l open_option no
    for word in (commandline -opc)[2..]
        if test "$word" = --
            echo -- --
            return
        end
        switch $word
            case '--*=*'
                set open_option no
            case '--*'
                set open_option yes
            case '-*'
                set open_option no
            case '*'
                if test $open_option = no
                    echo -- $word
                end
                set open_option no
        end
    end
    if test $open_option = yes
        echo -
    end
end

function __mos_at_command
    test (count (__mos_words)) -eq 0
end

function __mos_at_cache_word
    test "$(__mos_words)" = cache
end

function __mos_behind_dashes
    contains -- -- (__mos_words)
end

# Whether options may be offered: of any command, or of the one that is named.
function __mos_at_options
    set -l words (string match --invert -- - (__mos_words))
    if contains -- -- $words
        return 1
    end
    set -l wanted 1
    switch "$words[1]"
        case '' help version
            return 1
        case add cache info new remove search
            set wanted 2
    end
    test (count $words) -ge $wanted; and test -z "$argv[1]" -o "$argv[1]" = $words[1]
end

complete -c mos -f
complete -c mos -n __mos_behind_dashes -F

complete -c mos -n __mos_at_command -a new -d 'create a new Moss project'
complete -c mos -n __mos_at_command -a init -d 'make the current directory a Moss package'
complete -c mos -n __mos_at_command -a build -d 'compile the current project'
complete -c mos -n __mos_at_command -a run -d 'run the entry point of the project'
complete -c mos -n __mos_at_command -a check -d 'type-check without running'
complete -c mos -n __mos_at_command -a clean -d 'remove the packages directory'
complete -c mos -n __mos_at_command -a add -d 'add a dependency to moss.toml and install'
complete -c mos -n __mos_at_command -a remove -d 'remove a dependency from moss.toml'
complete -c mos -n __mos_at_command -a install -d 'install all dependencies'
complete -c mos -n __mos_at_command -a update -d 'choose every version afresh and install'
complete -c mos -n __mos_at_command -a list -d 'list direct dependencies'
complete -c mos -n __mos_at_command -a tree -d 'show the whole dependency tree'
complete -c mos -n __mos_at_command -a package -d 'build the .mos archive'
complete -c mos -n __mos_at_command -a publish -d 'build the .mos archive and upload it'
complete -c mos -n __mos_at_command -a login -d 'log in to the registry'
complete -c mos -n __mos_at_command -a logout -d 'forget the saved login'
complete -c mos -n __mos_at_command -a whoami -d 'show who is logged in'
complete -c mos -n __mos_at_command -a search -d 'search the registry'
complete -c mos -n __mos_at_command -a info -d 'show a package and its versions'
complete -c mos -n __mos_at_command -a cache -d 'manage the cache of archives'
complete -c mos -n __mos_at_command -a help -d 'show the help text'
complete -c mos -n __mos_at_command -a version -d 'show the version'

complete -c mos -n __mos_at_cache_word -a list -d 'list the cached archives'
complete -c mos -n __mos_at_cache_word -a clean -d 'delete every cached archive'
complete -c mos -n __mos_at_cache_word -a path -d 'print the tool home'

complete -c mos -n '__mos_at_options add' -l dev -d 'record it in dev-dependencies'
complete -c mos -n '__mos_at_options add' -l path -d 'a local directory' -x \
    -a '(__fish_complete_directories)'
complete -c mos -n '__mos_at_options add' -l git -d 'a git repository' -x
complete -c mos -n '__mos_at_options add' -l branch -d 'branch of the repository' -x
complete -c mos -n '__mos_at_options add' -l tag -d 'tag of the repository' -x
complete -c mos -n '__mos_at_options add' -l rev -d 'revision of the repository' -x
complete -c mos -n '__mos_at_options add' -l dry-run -d 'show what would be added'
complete -c mos -n '__mos_at_options add' -l offline -d 'download nothing'
complete -c mos -n '__mos_at_options build' -l release -d 'build for release'
complete -c mos -n '__mos_at_options build' -l workspace -d 'build every member of the workspace'
complete -c mos -n '__mos_at_options install' -l locked -d 'install what moss.lock says'
complete -c mos -n '__mos_at_options install' -l offline -d 'download nothing'
complete -c mos -n '__mos_at_options login' -l token -d 'save this API token' -x
complete -c mos -n '__mos_at_options login' -l username -d 'user name or e-mail' -x
complete -c mos -n '__mos_at_options login' -l password -d password -x
complete -c mos -n '__mos_at_options publish' -l token -d 'API token to publish with' -x
complete -c mos -n '__mos_at_options run' -a -- -d 'the arguments of the program follow'
complete -c mos -n '__mos_at_options update' -l dry-run -d 'say what would be done'
complete -c mos -n '__mos_at_options update' -l offline -d 'download nothing'

complete -c mos -n __mos_at_options -l json -d 'JSON output where there is one, no status lines'
complete -c mos -n __mos_at_options -l help -o h -d 'show the help text'
complete -c mos -n __mos_at_options -l version -d 'show the version'
complete -c mos -n __mos_at_options -o v -d verbose
complete -c mos -n __mos_at_options -o vv -d 'show debug lines'
complete -c mos -n __mos_at_options -o vvv -d 'show debug lines'
