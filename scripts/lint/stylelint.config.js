export default {
  extends: 'stylelint-config-standard',
  rules: {
    'declaration-block-single-line-max-declarations': null,
    'no-descending-specificity': null,
    'rule-empty-line-before': null,
    'at-rule-empty-line-before': null,
    'comment-empty-line-before': null,
    'custom-property-empty-line-before': null,
    'declaration-block-no-redundant-longhand-properties': null,
    // Lines are cut off after the second in no other way yet.
    'value-no-vendor-prefix': [true, { ignoreValues: ['-webkit-box'] }],
    'property-no-vendor-prefix': [true, { ignoreProperties: ['/^-webkit-box/'] }],
  },
};
