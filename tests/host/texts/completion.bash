declare -A _vexahost_words=(
  ["/"]="lists serve json url time scramble proxy monitor certs own p12 ca capi help --help --module --trace --json --quiet --version "
  ["lists"]="--help "
  ["serve"]="--help --port --allow-origin --monitor-interval --log --ready-file --pse --password-file --password-stdin "
  ["json"]="--help "
  ["url"]="--help --pattern --same-as "
  ["time"]="--help --from --to "
  ["scramble"]="--help "
  ["proxy"]="--help --why "
  ["monitor"]="--help --interval "
  ["certs"]="--help "
  ["own"]="--help --pse --password-file --password-stdin "
  ["p12"]="create open --help "
  ["p12 create"]="--help --key --cert --name --out --key-password-file --key-password-stdin --password-file --password-stdin "
  ["p12 open"]="--help --certs-out --password-file --password-stdin "
  ["ca"]="issue --help "
  ["ca issue"]="--help --issuer --issuer-key --issuer-cert --subject --for --usage --eku --san --days --not-before --not-after --ca --like --p12-out --key-bits --curve --weak-key --out --issuer-password-file --issuer-password-stdin --p12-password-file --p12-password-stdin "
  ["capi"]="import delete list --help "
  ["capi import"]="--help --container --check-root --exportable --password-file --password-stdin "
  ["capi delete"]="--help --help --container --issuer "
  ["capi list"]="--help "
  ["help"]="--help --man --bash-completion "
)
_vexahost() {
  local word=${COMP_WORDS[COMP_CWORD]} known='' longer i
  for ((i = 1; i < COMP_CWORD; i++)); do
    longer=${known:+$known }${COMP_WORDS[i]}
    [[ -z ${_vexahost_words[$longer]+there} ]] || known=$longer
  done
  mapfile -t COMPREPLY < <(compgen -W "${_vexahost_words[${known:-/}]}" -- "$word"
    [[ $word == -* ]] || compgen -f -- "$word")
}
complete -o filenames -F _vexahost vexahost
