# Completion of routepolicy for bash. Names of route maps and lists come from the policies on the command line.
# Names are compared and quoted, and never expanded, as a policy may come from others.

# The word as the shell would read it, without expansions that run or look up anything.
_routepolicy_unquoted() {
   local word=$1
   [[ $word == \~/* ]] && word=$HOME/${word#*/}
   case $word in
      \'*) word=${word#\'} && word=${word%\'} ;;
      \"*) word=${word#\"} && word=${word%\"} ;;
      *) word=${word//\\/} ;;
   esac
   printf '%s' "$word"
}

# The words behind $1 that begin with $1.
_routepolicy_reply() {
   local start=$1 word quoted
   for word in "${@:2}"; do
      [[ $word == "$start"* ]] || continue
      printf -v quoted %q "$word"
      COMPREPLY+=("$quoted")
   done
}

_routepolicy_files() {
   local file
   compopt -o filenames 2> /dev/null
   while IFS= read -r file; do COMPREPLY+=("$file"); done < <(compgen -f -- "$1")
}

# The names in the files behind the other arguments: PROGRAM START all|route-maps FILE...
_routepolicy_names() {
   local program=$1 start=$2 which=$3 file files=() names=() only=()
   for file in "${@:4}"; do
      file=$(_routepolicy_unquoted "$file")
      [[ -f $file || -d $file ]] && files+=("$file")
   done
   ((${#files[@]})) || return
   [[ $which == route-maps ]] && only=(--route-maps)
   mapfile -t names < <("$program" names "${only[@]}" -- "${files[@]}" 2> /dev/null < /dev/null)
   _routepolicy_reply "$(_routepolicy_unquoted "$start")" "${names[@]}"
}

# The options of the command $1 that begin with $2.
_routepolicy_options() {
   local options=(--dialect --lenient --json -h --help)
   [[ $1 == @(eval|explain|diff|watch) ]] && options+=(-m --route-map --neighbor --vrf --prefix-list --access-list --set-attribute --assume --daemon)
   case $1 in
      eval) options+=(-i --in --max-input --threads --summary --timing) ;;
      explain)
         options+=(-i --in --max-input --next-hop --tag --metric --protocol --interface --local-preference --community
            --large-community --extcommunity --ospf-instance --isis-instance --origin --peer --rpki --as-path --with)
         ;;
      diff) options+=(-i --in --max-input --threads --examples --with) ;;
      watch) options+=(-i --in --max-input) ;;
      show) options+=(--with --verify) ;;
      used-by) options+=(--with) ;;
      check) options+=(--fail-on --ignore) ;;
      *) return ;;
   esac
   _routepolicy_reply "$2" "${options[@]}"
}

_routepolicy() {
   local program cur=${COMP_WORDS[COMP_CWORD]} prev='' command='' before=0 i word files=() with=()
   program=$(_routepolicy_unquoted "$1")
   ((COMP_CWORD > 0)) && prev=${COMP_WORDS[COMP_CWORD - 1]}
   if [[ $cur == '=' ]]; then   # --route-map=<TAB>: the shell splits words there
      cur=''
   elif [[ $prev == '=' ]]; then
      prev=${COMP_WORDS[COMP_CWORD - 2]}
   fi
   COMPREPLY=()

   # The command, and its arguments that are not options: `files`, of which `before` are in front of the cursor.
   for ((i = 1; i < ${#COMP_WORDS[@]}; i++)); do
      word=${COMP_WORDS[i]}
      case $word in
         --neighbor)
            [[ ${COMP_WORDS[i + 1]-} == '=' ]] && ((i++))
            ((i += 2))
            ;;
         -m | --route-map | --vrf | --prefix-list | --access-list | -i | --in | --max-input | --threads | --examples | --next-hop | --tag | \
            --metric | --protocol | --interface | --local-preference | --community | --large-community | --extcommunity | --ospf-instance | --isis-instance | --origin | --peer | \
            --rpki | --as-path | --set-attribute | --assume | --daemon | --dialect | \
            --fail-on | --ignore)
            [[ ${COMP_WORDS[i + 1]-} == '=' ]] && ((i++))
            ((i++))
            ;;
         --with)
            [[ ${COMP_WORDS[i + 1]-} == '=' ]] && ((i++))
            ((i++))
            ((i != COMP_CWORD)) && with+=("${COMP_WORDS[i]-}")
            ;;
         -?*) ;;
         *)
            if ((i == COMP_CWORD)); then
               [[ -z $command ]] && break
            elif [[ -z $command ]]; then
               command=$word
            else
               files+=("$word")
               ((i < COMP_CWORD)) && ((before++))
            fi
            ;;
      esac
   done

   if [[ -z $command ]]; then
      if [[ $cur == -* ]]; then
         _routepolicy_reply "$cur" -h --help --version
      else
         _routepolicy_reply "$cur" check eval explain diff watch show used-by
      fi
      return
   fi

   if ((COMP_CWORD > 2)) && [[ ${COMP_WORDS[COMP_CWORD - 2]} == --neighbor ]]; then
      _routepolicy_reply "$cur" in out
      return
   fi
   case $prev in
      -m | --route-map)
         _routepolicy_names "$program" "$cur" route-maps "${files[@]}" "${with[@]}"
         return
         ;;
      --prefix-list | --access-list)
         _routepolicy_names "$program" "$cur" all "${files[@]}" "${with[@]}"
         return
         ;;
      -i | --in)
         _routepolicy_files "$cur"
         _routepolicy_reply "$cur" kernel -
         return
         ;;
      --with)
         _routepolicy_files "$cur"
         return
         ;;
      --protocol)
         _routepolicy_reply "$cur" connected static kernel bgp ospf ospf6 isis rip ripng
         return
         ;;
      --daemon)
         _routepolicy_reply "$cur" bgpd zebra pimd pim6d ospfd ospf6d isisd ripd ripngd eigrpd babeld
         return
         ;;
      --origin)
         _routepolicy_reply "$cur" igp egp incomplete
         return
         ;;
      --rpki)
         _routepolicy_reply "$cur" valid notfound invalid
         return
         ;;
      --interface)
         for word in /sys/class/net/*/; do
            word=${word%/}
            _routepolicy_reply "$cur" "${word##*/}"
         done
         return
         ;;
      --neighbor | --vrf | --max-input | --threads | --examples | --next-hop | --tag | --metric | --local-preference | --community | --large-community | --extcommunity | \
         --ospf-instance | --isis-instance | --peer | --as-path | --set-attribute | --assume | --fail-on | --ignore) return ;;
   esac

   if [[ $cur == -* ]]; then
      _routepolicy_options "$command" "$cur"
      return
   fi
   case $command in
      check | eval | watch) _routepolicy_files "$cur" ;;
      diff) ((before < 2)) && _routepolicy_files "$cur" ;;
      explain) ((before < 1)) && _routepolicy_files "$cur" ;;
      show | used-by)
         if ((before < 1)); then
            _routepolicy_files "$cur"
         elif ((before == 1)); then
            _routepolicy_names "$program" "$cur" all "${files[0]}" "${with[@]}"
         fi
         ;;
   esac
}

complete -F _routepolicy routepolicy
