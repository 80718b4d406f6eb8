/** Made from the schemas by scripts/validators.mjs, one function for each command. */
export interface Validator {
  (command: unknown): boolean;
  errors?: { instancePath: string; message?: string; params: Record<string, unknown> }[] | null;
}
export declare const validators: Record<string, Validator | undefined>;
